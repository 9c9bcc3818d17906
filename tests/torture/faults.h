// Which call fails. The library is loaded before all others into a program under test; each of its functions
// stands before one of the system or of a library, counts, and lets the chosen call report a failure in place
// of its work.
//
// Only calls are counted whose caller can report it: our own code (with the standard library's on its
// behalf), and of the other libraries those that promise to (see kRules in faults.cpp). Qt, GLib and the X
// libraries end the program when memory is short, so what they ask for themselves is theirs.
//
//   KV_TORTURE       PROGRAM:FILE  the program's name, and a file that gets the counts (TortureRecord)
//   KV_FAIL          CLASS:N[:TIMES]       the n-th call of the class, and the TIMES - 1 after it (0: all)
//                    CLASS@SITE:N[:TIMES]  of those from one place, as TortureRecord names it
//   KV_FAIL_TRACE    set: the stack is told when a call fails
#pragma once

#include <atomic>
#include <cstdint>

namespace torture {

enum class Class : std::uint32_t { Memory, LibraryMemory, Socket, File, Thread, Media, Database, Display };
constexpr std::uint32_t kClasses = 8;
constexpr const char* kClassNames[kClasses] = {"memory", "library-memory", "socket",   "file",
                                               "thread", "media",          "database", "display"};

// A place: the function that failed, and the nearest callers in the program or a library that may report it.
struct Site {
    std::atomic<std::uint64_t> key;
    std::atomic<std::uint32_t> callClass;
    std::atomic<std::uint32_t> count;
};

constexpr std::uint32_t kSites = 1u << 15;
constexpr int kFrames = 4;

// Shared with the runner, so that it outlives whatever end the program finds.
struct TortureRecord {
    std::atomic<std::uint32_t> counts[kClasses];
    std::atomic<std::uint32_t> fired;
    char firedCall[32];
    std::uint64_t firedAt[kFrames];  // offsets in the program's file, 0 for other libraries
    Site sites[kSites];
};

// Counts a call, and says whether it is to fail.
bool Fails(Class callClass, const char* name, const void* caller);
// The function of this name behind ours.
void* FindNext(const char* name);

}  // namespace torture

// A function TYPE NAME PARAMETERS of the C library or another, which reports a failure by FAILED.
// Its name in the source is another, since headers declare most of them with attributes of their own.
#define TORTURE_CALL(CLASS, TYPE, NAME, PARAMETERS, ARGUMENTS, FAILED)                               \
    extern "C" __attribute__((visibility("default"))) TYPE torture_##NAME PARAMETERS __asm__(#NAME); \
    extern "C" TYPE torture_##NAME PARAMETERS {                                                      \
        static std::atomic<TYPE(*) PARAMETERS> next;                                                 \
        if (torture::Fails(torture::Class::CLASS, #NAME, __builtin_return_address(0))) {             \
            FAILED;                                                                                  \
        }                                                                                            \
        auto* known = next.load(std::memory_order_relaxed);                                          \
        if (known == nullptr) {                                                                      \
            known = reinterpret_cast<TYPE(*) PARAMETERS>(torture::FindNext(#NAME));                  \
            next.store(known, std::memory_order_relaxed);                                            \
        }                                                                                            \
        return known ARGUMENTS;                                                                      \
    }
