// The test program's own operator new, for those that count or fail it.
#pragma once

#include <cstddef>

namespace kvtest {

// By the program itself: called for all that operator new is asked for, with the place that asks; null makes
// it fail.
void* AllocateOrNull(std::size_t size, const void* caller) noexcept;

}  // namespace kvtest
