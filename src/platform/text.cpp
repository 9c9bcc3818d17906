#include "platform/text.h"

#include <cstdio>

namespace kvmon {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Takes one character from the front of `rest`. An invalid sequence yields kReplacement and
// takes one byte; `valid` tells which it was.
char32_t TakeUtf8(std::string_view& rest, bool& valid) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(rest[i]); };
    const unsigned char lead = byte(0);
    valid = true;
    if (lead < 0x80) {
        rest.remove_prefix(1);
        return lead;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    char32_t value = lead & (0xFF >> (length + 1));
    bool ok = lead >= 0xC2 && lead <= 0xF4 && rest.size() >= length;
    for (std::size_t i = 1; ok && i < length; ++i) {
        ok = (byte(i) & 0xC0) == 0x80;
        value = value << 6 | (byte(i) & 0x3F);
    }
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    ok = ok && value >= kSmallest[length] && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
    if (!ok) {
        valid = false;
        rest.remove_prefix(1);
        return kReplacement;
    }
    rest.remove_prefix(length);
    return value;
}

void AppendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

}  // namespace

std::string FormatTextV(const char* format, std::va_list args) {
    std::va_list measure;
    va_copy(measure, args);
    const int length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    if (length <= 0) {
        return {};
    }
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    return text;
}

std::string FormatText(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::string text = FormatTextV(format, args);
    va_end(args);
    return text;
}

std::u16string ToUtf16(std::string_view utf8) {
    std::u16string out;
    out.reserve(utf8.size());
    bool valid = true;
    while (!utf8.empty()) {
        const char32_t c = TakeUtf8(utf8, valid);
        if (c < 0x10000) {
            out += static_cast<char16_t>(c);
        } else {
            out += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            out += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
    }
    return out;
}

std::string FromUtf16(std::u16string_view utf16) {
    std::string out;
    out.reserve(utf16.size());
    for (std::size_t i = 0; i < utf16.size(); ++i) {
        char32_t c = utf16[i];
        if (c >= 0xD800 && c <= 0xDFFF) {
            const bool pair =
                c < 0xDC00 && i + 1 < utf16.size() && utf16[i + 1] >= 0xDC00 && utf16[i + 1] <= 0xDFFF;
            if (pair) {
                c = 0x10000 + ((c - 0xD800) << 10) + (utf16[++i] - 0xDC00U);
            } else {
                c = kReplacement;
            }
        }
        AppendUtf8(out, c);
    }
    return out;
}

bool IsValidUtf8(std::string_view bytes) {
    bool valid = true;
    while (valid && !bytes.empty()) {
        TakeUtf8(bytes, valid);
    }
    return valid;
}

std::size_t Utf16Length(std::string_view utf8) {
    std::size_t units = 0;
    bool valid = true;
    while (!utf8.empty()) {
        units += TakeUtf8(utf8, valid) < 0x10000 ? 1 : 2;
    }
    return units;
}

std::string Utf16Left(std::string_view utf8, std::size_t units) {
    std::string_view rest = utf8;
    std::string out;
    bool valid = true;
    while (!rest.empty()) {
        const char32_t c = TakeUtf8(rest, valid);
        const std::size_t need = c < 0x10000 ? 1 : 2;
        if (need > units) {
            break;
        }
        units -= need;
        AppendUtf8(out, c);
    }
    return out;
}

std::string_view Utf16Prefix(std::string_view utf8, std::size_t units) {
    std::string_view rest = utf8;
    std::size_t length = 0;
    bool valid = true;
    while (!rest.empty()) {
        const std::size_t need = TakeUtf8(rest, valid) < 0x10000 ? 1 : 2;
        if (need > units) {
            break;
        }
        units -= need;
        length = utf8.size() - rest.size();
    }
    return utf8.substr(0, length);
}

std::string_view TrimRight(std::string_view text, std::string_view characters) {
    const std::size_t last = text.find_last_not_of(characters);
    return last == std::string_view::npos ? std::string_view{} : text.substr(0, last + 1);
}

}  // namespace kvmon
