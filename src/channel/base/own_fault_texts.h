// The words for a user when the fault is this computer's or this program's.
#pragma once

#include <cstdint>

#include "platform/caught.h"

namespace kvmon {

inline constexpr std::uint32_t kTextNoMemory = 7010;      // "Not enough memory"
inline constexpr std::uint32_t kTextNoThread = 7011;      // "No more threads on this computer"
inline constexpr std::uint32_t kTextProgramFault = 7012;  // "Error in this program"

constexpr std::uint32_t TextOf(OwnFault fault) {
    switch (fault) {
        case OwnFault::NoMemory:
            return kTextNoMemory;
        case OwnFault::NoThread:
            return kTextNoThread;
        case OwnFault::Program:
            break;
    }
    return kTextProgramFault;
}

}  // namespace kvmon
