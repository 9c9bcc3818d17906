// The cell's timers that more than one of its sources starts or ends.
#pragma once

#include <cstdint>

namespace kvmon {

inline constexpr std::uint32_t kTimerFinger = 74;  // of our own: a finger rests
inline constexpr std::uint32_t kTimerPressed = 80;
inline constexpr std::uint32_t kTimerCursor = 81;  // the camera has just got an order

}  // namespace kvmon
