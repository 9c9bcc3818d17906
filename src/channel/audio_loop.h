// The audio connection thread: the sound of a camera whose pictures come past the recorder. Inside this
// folder and its tests only.
#pragma once

#include <cstdint>

#include "channel/channel_core.h"

namespace kvmon {

// One connection for sound, up to its end; what its kind of camera makes of it. 0 if there is none.
std::uint32_t GetAudio(ChannelCore& core, ThreadControl& control);

}  // namespace kvmon
