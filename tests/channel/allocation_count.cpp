#include "allocation_count.h"

#include <cstdlib>

#include "support/own_new/own_new.h"

namespace kvtest {

namespace {
thread_local std::uint64_t count = 0;
}

std::uint64_t Allocations() {
    return count;
}

void* AllocateOrNull(std::size_t size, const void*) noexcept {
    ++count;
    return std::malloc(size != 0 ? size : 1);
}

}  // namespace kvtest
