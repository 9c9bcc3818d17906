// The reception thread's passes. Inside this folder and its tests only.
#pragma once

#include <cstddef>
#include <cstdint>

#include "channel/channel_core.h"

namespace kvmon {

inline constexpr std::size_t kRequestSize = 640;
// A camera's path may be long, and so may be the answer to its challenge.
inline constexpr std::size_t kCameraRequestSize = 4096;

// One connection, from the request to its end. Gives the number of video frames. Reception thread.
std::uint32_t GetStream(ChannelCore& core, ThreadControl& control, LiveAudio& audio);

// Reads a few pictures of the camera's stream and shows them to nobody. True if they came one after the
// other. `core` is the caller's alone.
bool GivesPictures(ChannelCore& core, ThreadControl& control);

// Waits before the next connection: 1 s after fewer than 3 failures in a row, 5 s up to 7, then 15 s. The
// exit event ends it, the abort flag at the next half second.
void WaitForVideoRetry(Clock& clock, ThreadControl& control, std::uint32_t nFailures);

}  // namespace kvmon
