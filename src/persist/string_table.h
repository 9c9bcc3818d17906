// Texts that a user sees, by number.
#pragma once

#include <cstdint>
#include <string>

namespace kvmon {

// The text of a number in the loaded language, UTF-8; empty for a number that is not in the table.
std::string LoadString(std::uint32_t id);

}  // namespace kvmon
