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

}  // namespace kvmon
