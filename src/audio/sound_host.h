// Sound that goes to, and comes from, somewhere else than this machine's sound service.
#pragma once

#include <functional>
#include <memory>

#include "audio/microphone.h"
#include "audio/sound_card.h"

namespace kvmon {

// Where there is one, CreateSoundCard and CreateMicrophone give its cards and microphones. Both functions are
// called by any thread.
struct SoundHost {
    std::function<std::unique_ptr<SoundCard>(const SoundFlag& audible)> output;
    MicrophoneFactory input;
};

// Once, before there is a channel.
void SetSoundHost(SoundHost host);
// Null without one.
const SoundHost* GetSoundHost();

}  // namespace kvmon
