// Counts what this test program allocates.
#pragma once

#include <cstdint>

namespace kvtest {

// Calls of operator new on the calling thread so far.
std::uint64_t Allocations();

}  // namespace kvtest
