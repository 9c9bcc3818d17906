// Sound output of a channel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace kvmon {

// Source and target format of a wave device; the types are the numbers of the wave format registry.
struct WaveFormats {
    std::uint16_t inChannels = 1;
    std::uint16_t inSampleBits = 16;
    std::uint32_t inSamplesPerSecond = 8000;
    std::uint16_t inWaveType = 1;
    std::uint16_t outChannels = 1;
    std::uint16_t outSampleBits = 16;
    std::uint32_t outSamplesPerSecond = 8000;
    std::uint16_t outWaveType = 1;
    friend bool operator==(const WaveFormats&, const WaveFormats&) = default;
};

// One open output. Used by one channel's reception thread.
class WaveOutput {
public:
    virtual ~WaveOutput() = default;
    // False if the formats or the device cannot be used.
    virtual bool Open(const WaveFormats& formats) = 0;
    virtual void Close() = 0;
    // Queues sound without waiting for its playing; false if it was not taken.
    virtual bool Write(std::span<const std::uint8_t> data) = 0;
};

}  // namespace kvmon
