// The reception thread's passes. Inside this folder and its tests only.
#pragma once

#include <cstddef>
#include <cstdint>

#include "channel/channel_core.h"

namespace kvmon {

inline constexpr std::size_t kRequestSize = 640;

// One connection, from the request to its end. Gives the number of video frames. Reception thread.
std::uint32_t GetStream(ChannelCore& core, ThreadControl& control, LiveAudio& audio);

// Waits before the next connection: 1 s after fewer than 3 failures in a row, 5 s up to 7, then 15 s. The
// exit event ends it, the abort flag at the next half second.
void WaitForVideoRetry(Clock& clock, ThreadControl& control, std::uint32_t nFailures);

}  // namespace kvmon
