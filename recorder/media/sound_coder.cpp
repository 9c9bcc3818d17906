#include "media/sound_coder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

#include "media/av_ptr.h"
#include "wire/frame_header.h"

namespace kvrecorder {
namespace {

struct Form {
    SoundFormat format;
    std::uint32_t fourcc;
    const char* encoder;  // null: the samples as they are
};
constexpr std::array<Form, 6> kForms = {{
    {SoundFormat::MuLaw, wire::kG711, "pcm_mulaw"},
    {SoundFormat::ALaw, wire::kA711, "pcm_alaw"},
    {SoundFormat::G726, wire::kG726, "g726le"},
    {SoundFormat::Z726, wire::kZ726, "g726"},
    {SoundFormat::Pcm, wire::kPCM, nullptr},
    {SoundFormat::PlainG726, wire::kG726, nullptr},
}};

constexpr int kTalkRate = 8000;
constexpr int kTalkBits = 4;

const Form& FormOf(SoundFormat format) {
    return *std::find_if(kForms.begin(), kForms.end(),
                         [&](const Form& form) { return form.format == format; });
}

bool IsAdaptive(SoundFormat format) {
    return format == SoundFormat::G726 || format == SoundFormat::Z726;
}

class PlainEncoder final : public SoundEncoder {
public:
    std::vector<std::uint8_t> Encode(std::span<const std::int16_t> samples) override {
        std::vector<std::uint8_t> bytes;
        bytes.reserve(samples.size() * 2);
        for (const std::int16_t sample : samples) {
            bytes.push_back(static_cast<std::uint8_t>(sample));
            bytes.push_back(static_cast<std::uint8_t>(sample >> 8));
        }
        return bytes;
    }
};

class LibraryEncoder final : public SoundEncoder {
public:
    LibraryEncoder(const SoundConfig& config, std::size_t blockSamples) : blockSamples_(blockSamples) {
        const AVCodec* codec = avcodec_find_encoder_by_name(FormOf(config.format).encoder);
        context_.reset(avcodec_alloc_context3(codec));
        if (!codec || !context_) {
            throw std::runtime_error("there is no coder for this sound");
        }
        context_->sample_rate = config.rate;
        context_->sample_fmt = AV_SAMPLE_FMT_S16;
        av_channel_layout_default(&context_->ch_layout, 1);
        if (IsAdaptive(config.format)) {
            context_->bit_rate = std::int64_t{config.bits} * config.rate;
        }
        if (const int error = avcodec_open2(context_.get(), codec, nullptr); error < 0) {
            throw std::runtime_error("sound cannot be coded: " + AvErrorText(error));
        }
        // The coder works sample by sample; its own block would be half a second long.
        context_->frame_size = context_->frame_size > 0 ? static_cast<int>(blockSamples) : 0;
    }

    std::vector<std::uint8_t> Encode(std::span<const std::int16_t> samples) override {
        const AvPtr<AVFrame> frame(av_frame_alloc());
        const AvPtr<AVPacket> packet(av_packet_alloc());
        frame->nb_samples = static_cast<int>(std::min(samples.size(), blockSamples_));
        frame->format = AV_SAMPLE_FMT_S16;
        frame->sample_rate = context_->sample_rate;
        av_channel_layout_default(&frame->ch_layout, 1);
        if (av_frame_get_buffer(frame.get(), 0) < 0) {
            throw std::bad_alloc();
        }
        std::memcpy(frame->data[0], samples.data(), static_cast<std::size_t>(frame->nb_samples) * 2);
        const int sent = avcodec_send_frame(context_.get(), frame.get());
        if (sent < 0 || avcodec_receive_packet(context_.get(), packet.get()) < 0) {
            throw std::runtime_error("sound cannot be coded: " + AvErrorText(sent));
        }
        return {packet->data, packet->data + packet->size};
    }

private:
    const std::size_t blockSamples_;
    AvPtr<AVCodecContext> context_;
};

class LibraryDecoder final : public SoundDecoder {
public:
    LibraryDecoder() {
        const AVCodec* codec = avcodec_find_decoder_by_name("g726le");
        context_.reset(avcodec_alloc_context3(codec));
        if (!codec || !context_) {
            throw std::runtime_error("there is no decoder for what clients say");
        }
        context_->sample_rate = kTalkRate;
        context_->bits_per_coded_sample = kTalkBits;
        context_->bit_rate = kTalkBits * kTalkRate;
        av_channel_layout_default(&context_->ch_layout, 1);
        if (const int error = avcodec_open2(context_.get(), codec, nullptr); error < 0) {
            throw std::runtime_error("sound cannot be decoded: " + AvErrorText(error));
        }
    }

    std::vector<std::int16_t> Decode(std::span<const std::uint8_t> bytes) override {
        std::vector<std::int16_t> samples;
        const AvPtr<AVPacket> packet(av_packet_alloc());
        const AvPtr<AVFrame> frame(av_frame_alloc());
        if (bytes.empty() || av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0) {
            return samples;
        }
        std::memcpy(packet->data, bytes.data(), bytes.size());
        if (avcodec_send_packet(context_.get(), packet.get()) < 0) {
            return samples;
        }
        while (avcodec_receive_frame(context_.get(), frame.get()) == 0) {
            const std::size_t before = samples.size();
            samples.resize(before + static_cast<std::size_t>(frame->nb_samples));
            std::memcpy(samples.data() + before, frame->data[0],
                        static_cast<std::size_t>(frame->nb_samples) * 2);
        }
        return samples;
    }

private:
    AvPtr<AVCodecContext> context_;
};

}  // namespace

SoundBlock BlockOf(const SoundConfig& config) {
    SoundBlock block;
    block.fourcc = FormOf(config.format).fourcc;
    block.rate = static_cast<std::uint32_t>(config.rate);
    const bool plain = FormOf(config.format).encoder == nullptr;
    block.bits = static_cast<std::uint16_t>(IsAdaptive(config.format) ? config.bits : plain ? 16 : 8);
    return block;
}

std::unique_ptr<SoundEncoder> CreateSoundEncoder(const SoundConfig& config, std::size_t blockSamples) {
    if (FormOf(config.format).encoder == nullptr) {
        return std::make_unique<PlainEncoder>();
    }
    return std::make_unique<LibraryEncoder>(config, blockSamples);
}

std::unique_ptr<SoundDecoder> CreateTalkDecoder() {
    return std::make_unique<LibraryDecoder>();
}

}  // namespace kvrecorder
