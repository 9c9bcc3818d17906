// Names that somebody has mistyped.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kvhost {

// The name that the word was most likely meant to be; "" when none is near, or when two are as near.
std::string NearName(std::string_view word, const std::vector<std::string>& names);

// Words for a command line with arguments that belong to no option. Only what begins as an option's name is
// repeated, and of that nothing behind "=": the rest of a mistyped line may be a password.
std::string DescribeExtras(const std::vector<std::string>& extras, const std::vector<std::string>& names);

}  // namespace kvhost
