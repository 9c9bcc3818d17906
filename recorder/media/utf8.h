// Text from outside on its way into a picture. Inside this folder only.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kvrecorder {

// Well-formed UTF-8 of at most `most` characters: bytes that are not part of a character and control
// characters become '?', as drawing stops for good at a malformed text.
std::string PrintableUtf8(std::string_view text, std::size_t most);
// Of a well-formed text.
void DropLastCharacter(std::string& text);

}  // namespace kvrecorder
