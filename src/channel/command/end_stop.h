// Where a camera's move came to an end.
#pragma once

#include <cstdint>

#include "channel/base/cam_commands.h"
#include "platform/window_handle.h"

namespace kvmon {

// The code of an error of the camera, and of a reply without a body.
inline constexpr LParam kEndStopError = 8;

struct EndStop {
    std::uint32_t stringId;
    std::uint32_t onlyFor;  // stops a held button of this command only; 0: of every command
};

// The end-stop of a code in message 11411. One that is not known is an error of the camera.
inline EndStop FindEndStop(LParam nCode) {
    constexpr std::uint32_t kFirstString = 5000;
    constexpr LParam kLastCode = 14;
    constexpr std::uint32_t kOnlyFor[] = {kCmdRight, kCmdLeft, kCmdUp, kCmdDown};
    if (nCode < 1 || nCode > kLastCode) {
        nCode = kEndStopError;
    }
    const auto index = static_cast<std::uint32_t>(nCode - 1);
    return {kFirstString + index, index < std::size(kOnlyFor) ? kOnlyFor[index] : 0};
}

}  // namespace kvmon
