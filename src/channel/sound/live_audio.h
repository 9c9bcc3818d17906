// The sound of a channel: audio records off the stream and into the wave device.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "audio/wave_out_device.h"
#include "channel/base/channel_factories.h"
#include "channel/base/sound_switches.h"
#include "channel/frames/byte_source.h"
#include "channel/frames/frame_head.h"
#include "channel/frames/frame_pool.h"

namespace kvmon {

// The format block before the payload of an audio record.
struct AudioBlock {
    std::uint32_t dwSamplePerSecond = 0;
    std::uint16_t wSampleBits = 0;
    std::uint16_t wChannel = 0;
};

// The formats that a wave device is opened with for a code; nothing for a code that has no device of its
// own kind.
std::optional<WaveFormats> WaveFormatsFor(std::uint32_t dwFourccCode, const AudioBlock& block);

// Reception thread only.
class LiveAudio {
public:
    // A record of more sound than this ends the stream.
    static constexpr std::uint32_t kMaxSound = 1u << 20;

    LiveAudio(const ChannelFactories& factories, const std::atomic<std::uint32_t>& uCHInMainDlg,
              std::shared_ptr<FrameShare> share = {})
        : m_factories(factories), m_uCHInMainDlg(uCHInMainDlg), m_sound(std::move(share)) {}
    ~LiveAudio();

    // Reads the rest of an audio record and plays it if it is wanted. False when the read failed,
    // and only then: a fault of the sound never ends the stream.
    bool PlayAudio(ByteSource& source, const KELVARA_FRAME_HDR& hdr, const SoundSwitches& switches);
    // True once for each time that sound was turned on and the camera's format has no decoder on this
    // computer.
    bool TakeNeedsLibrary();

private:
    bool ReadSound(ByteSource& source, const KELVARA_FRAME_HDR& hdr, AudioBlock& block);
    void PlayDecoded(std::uint32_t dwFourccCode, const SoundSwitches& switches);
    bool OpenDecoder(std::uint32_t dwFourccCode);
    void PlayPlain(const KELVARA_FRAME_HDR& hdr, const AudioBlock& block, const SoundSwitches& switches);
    bool PlaySoundData(std::span<const std::uint8_t> data, const SoundSwitches& switches);
    void CreateWaveDevice(const WaveFormats& formats, const SoundSwitches& switches);
    void CloseWaveDevice();

    const ChannelFactories m_factories;
    const std::atomic<std::uint32_t>& m_uCHInMainDlg;
    CBuffer m_sound;
    std::unique_ptr<WaveOutput> m_WaveDevice;
    WaveFormats m_formats;
    bool m_bOpenWaveDevice = false;
    std::unique_ptr<VivotekDecoder> m_pVivoTekDecoder;
    enum class Notice { None, Due, Given };
    Notice m_needsLibrary = Notice::None;
};

}  // namespace kvmon
