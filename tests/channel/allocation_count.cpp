#include "allocation_count.h"

#include <cstdlib>
#include <new>

namespace kvtest {

namespace {
thread_local std::uint64_t count = 0;
}

std::uint64_t Allocations() {
    return count;
}

void* Allocate(std::size_t size) {
    ++count;
    void* const memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace kvtest

void* operator new(std::size_t size) {
    return kvtest::Allocate(size);
}
void* operator new[](std::size_t size) {
    return kvtest::Allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
