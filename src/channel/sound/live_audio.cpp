#include "channel/sound/live_audio.h"

#include <array>

#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kAudioTimeout = 3000;

constexpr struct {
    std::uint32_t code;
    std::uint16_t waveType;
} kWaveTypes[] = {
    {wire::kG726, WAVE_FORMAT_G726_ADPCM}, {wire::kZ726, kWaveFormatZ726}, {wire::kG711, WAVE_FORMAT_MULAW},
    {wire::kA711, WAVE_FORMAT_ALAW},       {wire::kPCM, WAVE_FORMAT_PCM},
};

}  // namespace

std::optional<WaveFormats> WaveFormatsFor(std::uint32_t dwFourccCode, const AudioBlock& block) {
    for (const auto& entry : kWaveTypes) {
        if (entry.code != dwFourccCode) {
            continue;
        }
        WaveFormats formats;
        formats.inChannels = block.wChannel;
        formats.inSampleBits = block.wSampleBits;
        formats.inSamplesPerSecond = block.dwSamplePerSecond;
        formats.inWaveType = entry.waveType;
        if (dwFourccCode == wire::kG726 && block.wChannel == 1 && block.wSampleBits == 16 &&
            block.dwSamplePerSecond == 8000) {
            // Recorders send plain sound under this code.
            formats.inWaveType = WAVE_FORMAT_PCM;
        }
        if (dwFourccCode == wire::kPCM) {
            formats.outSamplesPerSecond = block.dwSamplePerSecond;
        }
        return formats;
    }
    return std::nullopt;
}

LiveAudio::~LiveAudio() {
    CloseWaveDevice();
}

bool LiveAudio::PlayAudio(ByteSource& source, const KELVARA_FRAME_HDR& hdr, const SoundSwitches& switches) {
    AudioBlock block;
    if (!ReadSound(source, hdr, block)) {
        return false;
    }
    if (!switches.IsWanted()) {
        m_needsLibrary = Notice::None;
        return true;
    }
    if (hdr.dwFourccCode == wire::kFAAC || hdr.dwFourccCode == wire::kF729) {
        PlayDecoded(hdr.dwFourccCode, switches);
    } else {
        PlayPlain(hdr, block, switches);
    }
    return true;
}

bool LiveAudio::ReadSound(ByteSource& source, const KELVARA_FRAME_HDR& hdr, AudioBlock& block) {
    std::array<std::uint8_t, wire::kAudioReserved> bytes{};
    std::uint32_t dwTimeout = kAudioTimeout;
    if (source.ReadBlock(bytes.data(), bytes.size(), &dwTimeout) < bytes.size()) {
        Trace("CBaseGetStream::PlayAudio: m_uCHInMainDlg=%u, Receive failed...\n", m_uCHInMainDlg.load());
        return false;
    }
    const auto byte = [&](std::size_t i) { return std::uint32_t{bytes[i]}; };
    block.dwSamplePerSecond = byte(0) | byte(1) << 8 | byte(2) << 16 | byte(3) << 24;
    block.wSampleBits = static_cast<std::uint16_t>(byte(4) | byte(5) << 8);
    block.wChannel = static_cast<std::uint16_t>(byte(6) | byte(7) << 8);

    const std::uint32_t size = hdr.dwFrameDataSize - hdr.dwReserved;
    if (hdr.dwFrameDataSize < hdr.dwReserved || size > kMaxSound || !m_sound.Reserve(size)) {
        Trace("CBaseGetStream::PlayAudio: m_uCHInMainDlg=%u, error audio size...\n", m_uCHInMainDlg.load());
        return false;
    }
    m_sound.SetLength(size);
    dwTimeout = kAudioTimeout;
    return size == 0 || source.ReadBlock(m_sound.Begin(), size, &dwTimeout) == size;
}

bool LiveAudio::TakeNeedsLibrary() {
    if (m_needsLibrary != Notice::Due) {
        return false;
    }
    m_needsLibrary = Notice::Given;
    return true;
}

bool LiveAudio::OpenDecoder(std::uint32_t dwFourccCode) {
    if (m_factories.vivotekDecoder != nullptr) {
        m_pVivoTekDecoder = m_factories.vivotekDecoder({});
    }
    if (m_pVivoTekDecoder && m_pVivoTekDecoder->AudioInit()) {
        return true;
    }
    if (m_needsLibrary == Notice::None &&
        (!m_pVivoTekDecoder || !m_pVivoTekDecoder->Supports(dwFourccCode))) {
        m_needsLibrary = Notice::Due;
    }
    m_pVivoTekDecoder.reset();
    Trace("CBaseGetStream::PlayAudio: m_uCHInMainDlg=%u, AudioInit failed...\n", m_uCHInMainDlg.load());
    return false;
}

void LiveAudio::PlayDecoded(std::uint32_t dwFourccCode, const SoundSwitches& switches) {
    if (!m_pVivoTekDecoder && !OpenDecoder(dwFourccCode)) {
        return;
    }
    std::array<std::uint8_t, 4096> sound;
    const auto decoded = m_pVivoTekDecoder->AudioDecode(m_sound.Bytes(), sound);
    if (!decoded || decoded->length > sound.size()) {
        Trace("CBaseGetStream::PlayAudio: m_uCHInMainDlg=%u, m_pVivoTekDecoder->AudioDecode failed...\n",
              m_uCHInMainDlg.load());
        return;
    }
    WaveFormats formats;
    formats.outChannels = decoded->channels;
    formats.outSamplesPerSecond = decoded->samplesPerSecond;
    CreateWaveDevice(formats, switches);
    if (!PlaySoundData(std::span(sound).first(decoded->length), switches)) {
        Trace("CBaseGetStream::PlayAudio: m_uCHInMainDlg=%u, PlaySoundData failed...\n",
              m_uCHInMainDlg.load());
    }
}

void LiveAudio::PlayPlain(const KELVARA_FRAME_HDR& hdr, const AudioBlock& block,
                          const SoundSwitches& switches) {
    // A device that stands open keeps its format: the records of one stream have one.
    const auto formats = WaveFormatsFor(hdr.dwFourccCode, block);
    if (!formats) {
        Trace(
            "CBaseGetStream::PlayAudio: m_uCHInMainDlg=%u, error fourcc audio type, dwFourccCode=0x%x, "
            "dwSampeBits=%u, wSamplePerSecond=%u, wChannel=%u...\n",
            m_uCHInMainDlg.load(), hdr.dwFourccCode, block.dwSamplePerSecond, block.wSampleBits,
            block.wChannel);
        CloseWaveDevice();
        return;
    }
    if (!m_bOpenWaveDevice) {
        CreateWaveDevice(*formats, switches);
    }
    if (!m_bOpenWaveDevice) {
        Trace("CBaseGetStream::PlayAudio: m_uCHInMainDlg=%u, m_bOpenWaveDevice=FALSE...\n",
              m_uCHInMainDlg.load());
        return;
    }
    if (!PlaySoundData(m_sound.Bytes(), switches)) {
        Trace("CBaseGetStream::PlayAudio: m_uCHInMainDlg=%u, PlaySoundData failed...\n",
              m_uCHInMainDlg.load());
    }
}

bool LiveAudio::PlaySoundData(std::span<const std::uint8_t> data, const SoundSwitches& switches) {
    if (!switches.IsWanted() || data.empty()) {
        return true;
    }
    return m_bOpenWaveDevice && m_WaveDevice->Write(data);
}

void LiveAudio::CreateWaveDevice(const WaveFormats& formats, const SoundSwitches& switches) {
    if (m_bOpenWaveDevice && formats == m_formats) {
        return;
    }
    CloseWaveDevice();
    Trace(
        "CBaseCamera::CreateWaveDevice: m_uCHInMainDlg=%u, wInChannels=0x%x, wInSampleBits=0x%x, "
        "dwInSamplePS=0x%x, inWaveType=0x%x, wOutChannels=0x%x, wOutSampleBits=0x%x, dwOutSamplePS=0x%x, "
        "outWaveType=0x%x....\n",
        m_uCHInMainDlg.load(), formats.inChannels, formats.inSampleBits, formats.inSamplesPerSecond,
        formats.inWaveType, formats.outChannels, formats.outSampleBits, formats.outSamplesPerSecond,
        formats.outWaveType);
    if (!m_WaveDevice && m_factories.waveOutput != nullptr) {
        m_WaveDevice = m_factories.waveOutput();
        m_WaveDevice->SetSwitch(switches.m_bPlayAudioUI);
    }
    if (!m_WaveDevice || !m_WaveDevice->Open(formats)) {
        Trace("CBaseCamera::CreateWaveDevice: m_uCHInMainDlg=%u, m_WaveDevice.Open failed...\n",
              m_uCHInMainDlg.load());
        return;
    }
    m_formats = formats;
    m_bOpenWaveDevice = true;
}

void LiveAudio::CloseWaveDevice() {
    if (m_bOpenWaveDevice) {
        m_WaveDevice->Close();
        m_bOpenWaveDevice = false;
    }
}

}  // namespace kvmon
