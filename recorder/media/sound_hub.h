// The sound of the recorder's channels, made once and shared by all who listen.
#pragma once

#include <functional>
#include <memory>

#include "media/media_hub.h"
#include "media/sound_source.h"

namespace kvrecorder {

class MediaClock;

// Any thread. Sound that nobody hears costs nothing, and begins anew when somebody does.
class SoundHub {
public:
    virtual ~SoundHub() = default;
    // The callback is as of MediaHub; packets come every 40 ms. Throws std::runtime_error with words for the
    // user if there can be no such sound.
    virtual std::unique_ptr<Subscription> Subscribe(int channel, const SoundConfig& config,
                                                    std::function<void(const PacketPtr&)> sink) = 0;
};

// The clock is for tests.
std::unique_ptr<SoundHub> CreateSoundHub(std::shared_ptr<MediaClock> clock = nullptr);

}  // namespace kvrecorder
