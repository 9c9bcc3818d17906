// Memory: by operator new, and by the C library's functions. No header that declares these is included, since
// they are told here without their attributes.
#include <new>

#include "torture/faults.h"

namespace {
constexpr int kNoMemory = 12;
}

#define NEW(NAME, PARAMETERS, ARGUMENTS) \
    TORTURE_CALL(Memory, void*, NAME, PARAMETERS, ARGUMENTS, throw std::bad_alloc())

NEW(_Znwm, (unsigned long size), (size))
NEW(_Znam, (unsigned long size), (size))
NEW(_ZnwmSt11align_val_t, (unsigned long size, unsigned long align), (size, align))
NEW(_ZnamSt11align_val_t, (unsigned long size, unsigned long align), (size, align))
TORTURE_CALL(Memory, void*, _ZnwmRKSt9nothrow_t, (unsigned long size, const void* tag), (size, tag),
             return nullptr)
TORTURE_CALL(Memory, void*, _ZnamRKSt9nothrow_t, (unsigned long size, const void* tag), (size, tag),
             return nullptr)

extern "C" int* __errno_location();
#define NO_MEMORY                    \
    *__errno_location() = kNoMemory; \
    return nullptr

TORTURE_CALL(LibraryMemory, void*, malloc, (unsigned long size), (size), NO_MEMORY)
TORTURE_CALL(LibraryMemory, void*, calloc, (unsigned long count, unsigned long size), (count, size),
             NO_MEMORY)
TORTURE_CALL(LibraryMemory, void*, realloc, (void* old, unsigned long size), (old, size), NO_MEMORY)
TORTURE_CALL(LibraryMemory, void*, aligned_alloc, (unsigned long align, unsigned long size), (align, size),
             NO_MEMORY)
TORTURE_CALL(LibraryMemory, int, posix_memalign, (void** to, unsigned long align, unsigned long size),
             (to, align, size), return kNoMemory)
TORTURE_CALL(LibraryMemory, char*, strdup, (const char* text), (text), NO_MEMORY)
