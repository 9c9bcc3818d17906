// Texts with places to fill in.
#pragma once

#include <initializer_list>
#include <string>

namespace kvmon {

// The pattern with each "%s", "%u" or "%d" replaced by the next text. The pattern may come from a language
// file, which must never be used as a format.
std::string FillPattern(const std::string& pattern, std::initializer_list<std::string> texts);

// The pattern of a recorder's address, port and name as it is for one whose name is not known.
std::string WithoutName(std::string pattern);

}  // namespace kvmon
