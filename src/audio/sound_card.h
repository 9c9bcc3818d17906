// The sound card: ordered playback of PCM.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "audio/sound_flag.h"

namespace kvmon {

struct PcmFormat {
    std::uint16_t channels = 1;
    std::uint16_t sampleBits = 16;
    std::uint32_t samplesPerSecond = 8000;

    std::size_t BytesPerSecond() const { return std::size_t{channels} * (sampleBits / 8) * samplesPerSecond; }
    friend bool operator==(const PcmFormat&, const PcmFormat&) = default;
};

// One output. Used by one thread, but for Cancel.
class SoundCard {
public:
    virtual ~SoundCard() = default;
    // May take as long as the system's sound service does. False if there is no such output.
    virtual bool Open(const PcmFormat& format) = 0;
    // Takes a block, when need be after waiting until little enough lies before it. False, with the block
    // lost, when cancelled.
    virtual bool Play(std::span<const std::uint8_t> block) = 0;
    // Throws away what was not played yet.
    virtual void Close() = 0;
    // Ends a Play that waits, and all to come. Any thread.
    virtual void Cancel() = 0;
};

// The system's default output. The variables SDL_AUDIODRIVER and SDL_DISKAUDIOFILE send it elsewhere, as to
// a file. While `audible` is off it plays silence and throws away what it was given.
std::unique_ptr<SoundCard> CreateSoundCard(const SoundFlag& audible = SoundFlag(true));

// The system has an output. Asks its sound service, which may take a while.
bool HasSoundOutput();

}  // namespace kvmon
