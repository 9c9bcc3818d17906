// What the test's driver is told and tells, by the names of its two functions.
#pragma once

namespace kvtest {

// After so many successes the named call fails, for ever; nullptr: none does. Forgets the pictures that were
// counted.
using SetVaFailure = void (*)(const char* call, int successes);
inline constexpr char kSetVaFailure[] = "kvtest_set_va_failure";

struct VaCounts {
    int pictures = 0;  // that were decoded
    int alive = 0;     // objects of any kind that were made and not destroyed
    int failures = 0;  // of the call that is to fail
    int scaled = 0;    // pictures of which it made others
    // What of the last one it took, and how large that became.
    int fromWidth = 0;
    int fromHeight = 0;
    int toWidth = 0;
    int toHeight = 0;
    long long read = 0;  // samples of brightness that were read back
};
using GetVaCounts = void (*)(VaCounts* counts);
inline constexpr char kGetVaCounts[] = "kvtest_get_va_counts";

// "CALL:SUCCESSES" of this name holds from the start of a program.
inline constexpr char kVaFailure[] = "KVTEST_VA_FAILURE";

// A file of this name gets a line for each picture that is read back: "WIDTHxHEIGHT".
inline constexpr char kVaLog[] = "KVTEST_VA_LOG";

// The brightness of the first picture; each further one is one brighter.
inline constexpr int kFirstVaLuma = 40;

}  // namespace kvtest
