// The reception thread's passes. For the channel's folders and their tests only.
#pragma once

#include <cstdint>

#include "channel/stream/stream_pass.h"

namespace kvmon {

// One connection, from the request to its end. Gives the number of video frames. Reception thread.
std::uint32_t GetStream(const StreamPass& pass);

// Reads a few pictures of the camera's stream and shows them to nobody. True if they came one after the
// other. No other thread uses `look`.
bool GivesPictures(StreamSource& look, const std::shared_ptr<FrameBudget>& budget, ThreadControl& control);

// What the reception thread works on.
struct VideoParts {
    StreamSource& source;
    FrameQueue& frames;
    ChannelCounters& counters;
    const SoundSwitches& sound;
    LiveAudio& audio;
    StreamReports& reports;
    const ChannelThread& decodeThread;  // that takes the frames
};

// The reception thread's body.
void DoVideoLoop(const VideoParts& parts, ThreadControl& control);

}  // namespace kvmon
