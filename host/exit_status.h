// With what status the programs end: the same for the same faults in each of them.
#pragma once

namespace kvhost {

inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUse = 2;
inline constexpr int kCutShort = 3;

struct ExitWords {
    int status;
    const char* words;
};

// For manual pages.
inline constexpr ExitWords kExitWords[] = {
    {kDone, "Done, or ended as it was told to."},
    {kFailed,
     "What was asked for failed: no answer, no picture, an address that is in use, no display, not enough "
     "memory."},
    {kWrongUse, "The command line, a file that it names or the configuration is wrong. Nothing was begun."},
    {kCutShort, "Something hung, and the program ended without waiting for it any longer."},
};

}  // namespace kvhost
