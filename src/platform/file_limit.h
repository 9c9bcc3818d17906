// How many files the process may have open.
#pragma once

#include <cstddef>

namespace kvmon {

// Raises the limit to what the system allows at the most, and gives it.
std::size_t RaiseFileLimit();

}  // namespace kvmon
