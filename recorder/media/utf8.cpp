#include "media/utf8.h"

namespace kvrecorder {
namespace {

// Bytes of the character that `text` opens with; 0 if it opens with none.
std::size_t CharacterLength(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80) {
        return first >= 0x20 && first != 0x7F ? 1 : 0;
    }
    const std::size_t length = first >= 0xC2 && first < 0xE0   ? 2
                               : first >= 0xE0 && first < 0xF0 ? 3
                               : first >= 0xF0 && first < 0xF5 ? 4
                                                               : 0;
    if (length == 0 || text.size() < length) {
        return 0;
    }
    char32_t code = first & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
        code = code << 6 | (byte(i) & 0x3Fu);
    }
    const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    const bool surrogate = code >= 0xD800 && code < 0xE000;
    const bool control = code >= 0x80 && code < 0xA0;
    return overlong || surrogate || control || code > 0x10FFFF ? 0 : length;
}

}  // namespace

std::string PrintableUtf8(std::string_view text, std::size_t most) {
    std::string out;
    for (std::size_t count = 0; !text.empty() && count < most; ++count) {
        const std::size_t length = CharacterLength(text);
        if (length == 0) {
            out += '?';
            text.remove_prefix(1);
        } else {
            out += text.substr(0, length);
            text.remove_prefix(length);
        }
    }
    return out;
}

void DropLastCharacter(std::string& text) {
    while (!text.empty()) {
        const auto last = static_cast<unsigned char>(text.back());
        text.pop_back();
        if ((last & 0xC0) != 0x80) {
            return;
        }
    }
}

}  // namespace kvrecorder
