// The audio connection thread: the sound of a camera whose pictures come past the recorder. Inside this
// folder and its tests only.
#pragma once

#include <cstdint>

namespace kvmon {

class StreamSource;
struct SoundSwitches;
struct ThreadControl;

// One connection for sound, up to its end; what its kind of camera makes of it. 0 if there is none.
std::uint32_t GetAudio(const StreamSource& source, ThreadControl& control);

// The audio thread's body.
void DoAudioLoop(const StreamSource& source, const SoundSwitches& sound, ThreadControl& control);

}  // namespace kvmon
