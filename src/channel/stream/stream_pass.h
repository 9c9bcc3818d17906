// What one connection of a channel works on.
#pragma once

#include "channel/base/channel_counters.h"
#include "channel/base/channel_thread.h"
#include "channel/base/sound_switches.h"
#include "channel/frames/frame_queue.h"
#include "channel/sound/live_audio.h"
#include "channel/stream/stream_reports.h"

namespace kvmon {

class StreamSource;

// A header of more lines than this is none.
inline constexpr int kMaxHeaderLines = 256;

// Where the records of a connection go.
struct StreamSinks {
    FrameQueue& frames;
    ChannelCounters& counters;
    const SoundSwitches& sound;
    LiveAudio* audio;  // null: there are no records of sound
    StreamReports& reports;
    ThreadControl& decode;  // of the thread that takes the frames
};

struct StreamPass {
    StreamSource& source;
    const StreamSinks& sinks;
    ThreadControl& control;
};

}  // namespace kvmon
