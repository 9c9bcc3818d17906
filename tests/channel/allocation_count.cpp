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

void* AllocateOrNull(std::size_t size) noexcept {
    ++count;
    return std::malloc(size != 0 ? size : 1);
}

void* Allocate(std::size_t size) {
    void* const memory = AllocateOrNull(size);
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
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return kvtest::AllocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return kvtest::AllocateOrNull(size);
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
