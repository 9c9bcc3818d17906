#include "media/utf8.h"

#include <algorithm>

namespace kvrecorder {
namespace {

// Breaks a line, moves a terminal's cursor, or turns the order of what is read. `text` begins with a
// character.
bool IsControl(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    if (byte(0) == 0xE2) {
        // U+200E, U+200F; U+2028 to U+202E; U+2066 to U+2069.
        return (byte(1) == 0x80 &&
                (byte(2) == 0x8E || byte(2) == 0x8F || (byte(2) >= 0xA8 && byte(2) <= 0xAE))) ||
               (byte(1) == 0x81 && byte(2) >= 0xA6 && byte(2) <= 0xA9);
    }
    return byte(0) < 0x20 || byte(0) == 0x7F || (byte(0) == 0xC2 && byte(1) < 0xA0) ||
           (byte(0) == 0xD8 && byte(1) == 0x9C);  // U+061C
}

}  // namespace

std::size_t CharacterLength(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    const std::size_t length = lead < 0x80                   ? 1
                               : lead >= 0xC2 && lead < 0xE0 ? 2
                               : lead >= 0xE0 && lead < 0xF0 ? 3
                               : lead >= 0xF0 && lead < 0xF5 ? 4
                                                             : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const bool overlong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xF0 && byte(1) < 0x90);
    const bool surrogate = lead == 0xED && byte(1) >= 0xA0;
    const bool beyond = lead == 0xF4 && byte(1) >= 0x90;
    return overlong || surrogate || beyond ? 0 : length;
}

std::string PrintableUtf8(std::string_view text, std::size_t most) {
    std::string out;
    for (std::size_t count = 0; !text.empty() && count < most; ++count) {
        const std::size_t length = CharacterLength(text);
        if (length == 0 || IsControl(text)) {
            out += '?';
            text.remove_prefix(std::max<std::size_t>(length, 1));
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
