// Sound output of a channel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "audio/g726.h"
#include "audio/sound_card.h"
#include "platform/clock.h"
#include "platform/worker.h"

namespace kvmon {

// Wave types, by the numbers of the wave format registry.
inline constexpr std::uint16_t WAVE_FORMAT_PCM = 1;
inline constexpr std::uint16_t WAVE_FORMAT_ALAW = 6;
inline constexpr std::uint16_t WAVE_FORMAT_MULAW = 7;
inline constexpr std::uint16_t WAVE_FORMAT_G726_ADPCM = 69;
inline constexpr std::uint16_t kWaveFormatZ726 = 63270;  // the recorder's own packing

// Source and target format of a wave device.
struct WaveFormats {
    std::uint16_t inChannels = 1;
    std::uint16_t inSampleBits = 16;
    std::uint32_t inSamplesPerSecond = 8000;
    std::uint16_t inWaveType = WAVE_FORMAT_PCM;
    std::uint16_t outChannels = 1;
    std::uint16_t outSampleBits = 16;
    std::uint32_t outSamplesPerSecond = 8000;
    std::uint16_t outWaveType = WAVE_FORMAT_PCM;
    friend bool operator==(const WaveFormats&, const WaveFormats&) = default;
};

// One open output. Used by one channel's reception thread.
class WaveOutput {
public:
    virtual ~WaveOutput() = default;
    // False if the formats cannot be used or the device is open already.
    virtual bool Open(const WaveFormats& formats) = 0;
    // Safe on a closed device. What was not played is dropped.
    virtual void Close() = 0;
    // Queues sound without waiting for its playing; false if it was not taken.
    virtual bool Write(std::span<const std::uint8_t> data) = 0;
    // Nothing sounds while the switch is off, not even what was written before. Before the first opening.
    virtual void SetSwitch(const SoundFlag& /*audible*/) {}
};

// Converts each block to PCM as it comes and leaves the feeding of the sound card to a thread of its own, so
// that a slow or absent card never holds up the caller.
class CWaveOutDevice final : public WaveOutput {
public:
    using SoundCardFactory = std::function<std::unique_ptr<SoundCard>(const SoundFlag& audible)>;

    // Sound that waits for the card. With the fifth of a second that the card holds itself, live sound stays
    // within a second of its picture; what is older is dropped.
    static constexpr Milliseconds kMaxWaiting{600};
    // Some recorders send the sound of a second and more at once. So much may wait, if it is gone as soon.
    static constexpr Milliseconds kMaxBurst{2000};
    // A card that got nothing for so long is given back to the system until there is sound again.
    static constexpr Milliseconds kIdle{2000};
    // One that was switched off is given back this soon, for the next camera to have it.
    static constexpr Milliseconds kSwitchLook{50};

    explicit CWaveOutDevice(SoundCardFactory factory = CreateSoundCard, Clock& clock = SystemClock());
    ~CWaveOutDevice() override;

    bool Open(const WaveFormats& formats) override;
    void Close() override;
    bool Write(std::span<const std::uint8_t> data) override;
    void SetSwitch(const SoundFlag& audible) override;

    // Blocks that were dropped as too old, since the opening.
    std::uint64_t DroppedBlocks() const;

private:
    struct Service;

    std::vector<std::uint8_t> Convert(std::span<const std::uint8_t> data);

    const SoundCardFactory m_factory;
    Clock& m_clock;
    std::unique_ptr<const SoundFlag> m_audible = std::make_unique<const SoundFlag>(true);
    WaveFormats m_formats;
    G726Codec m_codec;
    std::vector<std::int16_t> m_samples;
    std::shared_ptr<Service> m_service;  // null when closed
    Worker m_thread;
};

}  // namespace kvmon
