#include "cameras/camera_sound.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "wire/frame_header.h"

namespace kvrecorder {
namespace {

constexpr int kLowestRate = 8000;
constexpr int kHighestRate = 48000;
constexpr int kMostSamples = 1 << 16;
constexpr int kPlainBits = 16;
constexpr int kLawBits = 8;

// The code under which a sound is passed on; 0 if it is decoded.
std::uint32_t PassedCode(const AVCodecContext& codec) {
    if (codec.sample_rate != kLowestRate || codec.ch_layout.nb_channels != 1) {
        return 0;
    }
    return codec.codec_id == AV_CODEC_ID_PCM_MULAW  ? wire::kG711
           : codec.codec_id == AV_CODEC_ID_PCM_ALAW ? wire::kA711
                                                    : 0;
}

// One sample as a part of the full range.
float SampleAt(const AVFrame& frame, int channel, int at) {
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    const std::uint8_t* const data = frame.extended_data[planar ? channel : 0];
    const auto index = static_cast<std::size_t>(planar ? at : at * frame.ch_layout.nb_channels + channel);
    switch (av_get_packed_sample_fmt(format)) {
        case AV_SAMPLE_FMT_S16:
            return static_cast<float>(reinterpret_cast<const std::int16_t*>(data)[index]) / 32768.0F;
        case AV_SAMPLE_FMT_S32:
            return static_cast<float>(reinterpret_cast<const std::int32_t*>(data)[index]) / 2147483648.0F;
        case AV_SAMPLE_FMT_FLT:
            return reinterpret_cast<const float*>(data)[index];
        default:
            return 0;
    }
}

}  // namespace

std::unique_ptr<CameraSound> CameraSound::Make(const AVCodecParameters& parameters) {
    const AVCodec* const decoder = avcodec_find_decoder(parameters.codec_id);
    AvPtr<AVCodecContext> codec(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (!codec || avcodec_parameters_to_context(codec.get(), &parameters) < 0) {
        return nullptr;
    }
    codec->thread_count = 1;
    if (avcodec_open2(codec.get(), decoder, nullptr) < 0) {
        return nullptr;
    }
    std::unique_ptr<CameraSound> sound(new CameraSound(std::move(codec)));
    return sound->m_frame ? std::move(sound) : nullptr;
}

CameraSound::CameraSound(AvPtr<AVCodecContext> codec)
    : m_codec(std::move(codec)), m_frame(av_frame_alloc()) {}

void CameraSound::Decode(const AVPacket& packet, std::int64_t timeMs, std::vector<PacketPtr>& sounds) {
    if (const std::uint32_t code = PassedCode(*m_codec)) {
        auto sound = std::make_shared<Packet>();
        sound->fourcc = code;
        sound->key = true;
        sound->timeMs = timeMs;
        sound->soundRate = kLowestRate;
        sound->soundBits = kLawBits;
        sound->soundChannels = 1;
        sound->data.assign(packet.data, packet.data + std::min(packet.size, kMostSamples));
        sounds.push_back(std::move(sound));
        return;
    }
    if (avcodec_send_packet(m_codec.get(), &packet) < 0) {
        return;
    }
    while (avcodec_receive_frame(m_codec.get(), m_frame.get()) >= 0) {
        if (PacketPtr sound = Convert(timeMs)) {
            sounds.push_back(std::move(sound));
        }
    }
}

PacketPtr CameraSound::Convert(std::int64_t timeMs) const {
    const AVFrame& frame = *m_frame;
    const int channels = frame.ch_layout.nb_channels;
    if (frame.sample_rate < kLowestRate || frame.sample_rate > kHighestRate || channels < 1 ||
        frame.nb_samples < 1 || frame.nb_samples > kMostSamples) {
        return nullptr;
    }
    auto sound = std::make_shared<Packet>();
    sound->fourcc = wire::kPCM;
    sound->key = true;
    sound->timeMs = timeMs;
    sound->soundRate = static_cast<std::uint32_t>(frame.sample_rate);
    sound->soundBits = kPlainBits;
    sound->soundChannels = 1;
    sound->data.reserve(static_cast<std::size_t>(frame.nb_samples) * 2);
    for (int i = 0; i < frame.nb_samples; ++i) {
        float sum = 0;
        for (int channel = 0; channel < channels; ++channel) {
            sum += SampleAt(frame, channel, i);
        }
        const float mean = std::isfinite(sum) ? sum / static_cast<float>(channels) : 0.0F;
        const auto value = static_cast<std::int16_t>(std::lround(std::clamp(mean, -1.0F, 1.0F) * 32767.0F));
        sound->data.push_back(static_cast<std::uint8_t>(value & 0xFF));
        sound->data.push_back(static_cast<std::uint8_t>(value >> 8 & 0xFF));
    }
    return sound;
}

}  // namespace kvrecorder
