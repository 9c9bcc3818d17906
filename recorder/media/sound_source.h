// What a channel sounds like: PCM made as it is asked for.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace kvrecorder {

// How sound stands on the wire.
enum class SoundFormat {
    MuLaw,  // G.711, 8000 Hz
    ALaw,
    G726,       // packed from the low bits on, 8000 Hz
    Z726,       // packed from the high bits on, 8000 Hz
    Pcm,        // 16 bits, at any rate
    PlainG726,  // PCM of 8000 Hz under the code of G.726, as some recorders send it
};

struct SoundConfig {
    SoundFormat format = SoundFormat::MuLaw;
    int rate = 8000;   // samples a second, of Pcm: 8000 to 48000
    int bits = 4;      // of a G.726 code, 2 to 5
    int tune = 0;      // 1 to SoundTunes(); 0: one by the channel's number
    int hertz = 0;     // a plain tone instead, 20 to 20000
    std::string file;  // a WAV file instead: mono, 16 bits, of the rate; looped

    friend bool operator==(const SoundConfig&, const SoundConfig&) = default;
};

int SoundTunes();

class SoundSource {
public:
    virtual ~SoundSource() = default;
    // The samples from number `first` on; the same ones whenever they are asked for.
    virtual void Fill(std::uint64_t first, std::span<std::int16_t> samples) const = 0;
};

// Throws std::runtime_error with words for the user if the file cannot be used.
std::unique_ptr<SoundSource> CreateSoundSource(int channel, const SoundConfig& config);

}  // namespace kvrecorder
