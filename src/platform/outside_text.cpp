#include "platform/outside_text.h"

#include <algorithm>

#include "platform/text.h"

namespace kvmon {

namespace {

// Beside the control characters: what breaks a line, what marks a file's beginning, and the marks of
// direction.
bool IsHiddenSign(char16_t c) {
    constexpr char16_t kArabicLetterMark = 0x061C;
    constexpr char16_t kByteOrderMark = 0xFEFF;
    return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == kArabicLetterMark || c == 0x200E || c == 0x200F ||
           (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == kByteOrderMark;
}

bool IsPlainByte(char c) {
    return static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) < 0x7F;
}

// `isKept` is asked for hidden signs, with what stands behind them.
template <typename Kept>
std::string WithoutHiddenSigns(std::string_view text, Kept isKept) {
    if (std::all_of(text.begin(), text.end(), IsPlainByte)) {
        return std::string(text);
    }
    std::u16string wide = ToUtf16(text);
    for (std::size_t i = 0; i < wide.size(); ++i) {
        if (IsHiddenSign(wide[i]) && !isKept(wide[i], std::u16string_view(wide).substr(i + 1))) {
            wide[i] = u' ';
        }
    }
    return FromUtf16(wide);
}

}  // namespace

std::string OutsideLine(std::string_view text) {
    return WithoutHiddenSigns(text, [](char16_t c, std::u16string_view rest) {
        return (c == u'\r' || c == u'\n') && rest.find_first_not_of(u"\r\n") == std::u16string_view::npos;
    });
}

std::string OutsideText(std::string_view text) {
    return WithoutHiddenSigns(text, [](char16_t c, std::u16string_view rest) {
        return c == u'\t' || c == u'\n' || (c == u'\r' && rest.starts_with(u'\n'));
    });
}

void BlankHiddenSigns(char* text, std::size_t size) {
    const std::string_view all(text, size);
    for (std::size_t i = 0; i < size;) {
        const std::string_view rest = all.substr(i);
        const std::size_t length = Utf16Prefix(rest, 1).size();
        // Two and three bytes are all that a hidden sign has.
        const auto byte = [&](std::size_t n) { return static_cast<unsigned char>(rest[n]); };
        char16_t sign = byte(0);
        if (length == 2) {
            sign = static_cast<char16_t>((byte(0) & 0x1F) << 6 | (byte(1) & 0x3F));
        } else if (length == 3) {
            sign = static_cast<char16_t>((byte(0) & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F));
        } else if (length != 1 || byte(0) >= 0x80) {
            sign = u'x';
        }
        const bool isLineEnd =
            sign == u'\t' || sign == u'\n' || (sign == u'\r' && rest.substr(1).starts_with('\n'));
        if (IsHiddenSign(sign) && !isLineEnd) {
            std::fill_n(text + i, length, ' ');
        }
        i += std::max<std::size_t>(length, 1);
    }
}

}  // namespace kvmon
