// The audio connection thread: the sound of a camera whose pictures come past the recorder. For the channel's
// folders and their tests only.
#pragma once

#include <cstdint>

namespace kvmon {

class StreamReports;
class StreamSource;
struct SoundSwitches;
struct ThreadControl;

// One connection for sound, to its end. Gives what the kind of camera counts; 0 without a connection.
std::uint32_t GetAudio(const StreamSource& source, ThreadControl& control);

// The audio thread's body.
void DoAudioLoop(const StreamSource& source, const SoundSwitches& sound, StreamReports& reports,
                 ThreadControl& control);

}  // namespace kvmon
