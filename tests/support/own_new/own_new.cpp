#include "support/own_new/own_new.h"

#include <cstdlib>
#include <new>

namespace kvtest {

namespace {

void* Allocate(std::size_t size, const void* caller) {
    void* const memory = AllocateOrNull(size, caller);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

}  // namespace kvtest

void* operator new(std::size_t size) {
    return kvtest::Allocate(size, __builtin_return_address(0));
}
void* operator new[](std::size_t size) {
    return kvtest::Allocate(size, __builtin_return_address(0));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return kvtest::AllocateOrNull(size, __builtin_return_address(0));
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return kvtest::AllocateOrNull(size, __builtin_return_address(0));
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
