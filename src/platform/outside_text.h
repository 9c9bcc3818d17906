// Texts of others, as they are kept and shown.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kvmon {

// A line from outside (a document, a settings file, a page's call): valid UTF-8 with a blank for each control
// character and for each mark that is not seen but turns the direction of what is beside it, so that no name
// passes for another one or commands a terminal. A line end at its end stays.
std::string OutsideLine(std::string_view text);
// The same for text that may have several lines: tabs and line ends stay.
std::string OutsideText(std::string_view text);
// OutsideText in place, for whom memory may be short: a blank for each byte of such a sign, bytes that are no
// UTF-8 as they are.
void BlankHiddenSigns(char* text, std::size_t size);

}  // namespace kvmon
