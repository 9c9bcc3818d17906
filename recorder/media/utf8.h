// The characters of text that came from outside.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kvrecorder {

// Bytes of the character that the text begins with, which is not empty; 0 if they are no well-formed UTF-8.
std::size_t CharacterLength(std::string_view text);

// Well-formed UTF-8 of at most `most` characters: bytes that are not part of a character and control and
// direction characters become '?', as drawing stops for good at a malformed text.
std::string PrintableUtf8(std::string_view text, std::size_t most);
// Of a well-formed text.
void DropLastCharacter(std::string& text);

}  // namespace kvrecorder
