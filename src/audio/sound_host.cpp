#include "audio/sound_host.h"

namespace kvmon {

namespace {

// Never freed: abandoned threads may ask.
SoundHost* host = nullptr;

}  // namespace

void SetSoundHost(SoundHost newHost) {
    host = new SoundHost(std::move(newHost));
}

const SoundHost* GetSoundHost() {
    return host;
}

}  // namespace kvmon
