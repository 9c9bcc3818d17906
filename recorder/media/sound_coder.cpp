#include "media/sound_coder.h"

#include <algorithm>
#include <array>
#include <stdexcept>

// Its headers are not made for our warnings. Not libavcodec's coders: with five bits a sample they keep to
// themselves and not to the recommendation.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
#include <spandsp.h>
#pragma GCC diagnostic pop

#include "wire/frame_header.h"

namespace kvrecorder {
namespace {

struct Form {
    SoundFormat format;
    std::uint32_t fourcc;
    int bits;  // of a sample; 0: as configured
};
constexpr std::array<Form, 6> kForms = {{
    {SoundFormat::MuLaw, wire::kG711, 8},
    {SoundFormat::ALaw, wire::kA711, 8},
    {SoundFormat::G726, wire::kG726, 0},
    {SoundFormat::Z726, wire::kZ726, 0},
    {SoundFormat::Pcm, wire::kPCM, 16},
    {SoundFormat::PlainG726, wire::kG726, 16},
}};

constexpr int kRate = 8000;
constexpr int kTalkBits = 4;

const Form& FormOf(SoundFormat format) {
    return *std::find_if(kForms.begin(), kForms.end(),
                         [&](const Form& form) { return form.format == format; });
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

class LawEncoder final : public SoundEncoder {
public:
    explicit LawEncoder(SoundFormat format)
        : m_code(format == SoundFormat::MuLaw ? linear_to_ulaw : linear_to_alaw) {}

    std::vector<std::uint8_t> Encode(std::span<const std::int16_t> samples) override {
        std::vector<std::uint8_t> bytes(samples.size());
        std::transform(samples.begin(), samples.end(), bytes.begin(), m_code);
        return bytes;
    }

private:
    std::uint8_t (*const m_code)(int);
};

struct FreeState {
    void operator()(g726_state_t* state) const { g726_free(state); }
};
using State = std::unique_ptr<g726_state_t, FreeState>;

// How codes of less than eight bits lie in bytes.
enum class Packing { LowFirst, HighFirst };

State MakeState(int bits, Packing packing) {
    State state(g726_init(nullptr, bits * kRate, G726_ENCODING_LINEAR,
                          packing == Packing::LowFirst ? G726_PACKING_RIGHT : G726_PACKING_LEFT));
    if (!state) {
        throw std::runtime_error("there is no coder for this sound");
    }
    return state;
}

class AdaptiveEncoder final : public SoundEncoder {
public:
    explicit AdaptiveEncoder(const SoundConfig& config)
        : m_state(MakeState(config.bits,
                            config.format == SoundFormat::G726 ? Packing::LowFirst : Packing::HighFirst)) {}

    std::vector<std::uint8_t> Encode(std::span<const std::int16_t> samples) override {
        std::vector<std::uint8_t> bytes(samples.size());
        const int made =
            g726_encode(m_state.get(), bytes.data(), samples.data(), static_cast<int>(samples.size()));
        bytes.resize(static_cast<std::size_t>(made));
        return bytes;
    }

private:
    const State m_state;
};

class TalkDecoder final : public SoundDecoder {
public:
    std::vector<std::int16_t> Decode(std::span<const std::uint8_t> bytes) override {
        std::vector<std::int16_t> samples(bytes.size() * 2);
        const int made =
            g726_decode(m_state.get(), samples.data(), bytes.data(), static_cast<int>(bytes.size()));
        samples.resize(static_cast<std::size_t>(made));
        return samples;
    }

private:
    const State m_state = MakeState(kTalkBits, Packing::LowFirst);
};

}  // namespace

SoundBlock BlockOf(const SoundConfig& config) {
    SoundBlock block;
    block.fourcc = FormOf(config.format).fourcc;
    block.rate = static_cast<std::uint32_t>(config.rate);
    const int bits = FormOf(config.format).bits;
    block.bits = static_cast<std::uint16_t>(bits != 0 ? bits : config.bits);
    return block;
}

std::unique_ptr<SoundEncoder> CreateSoundEncoder(const SoundConfig& config) {
    switch (FormOf(config.format).bits) {
        case 0:
            return std::make_unique<AdaptiveEncoder>(config);
        case 8:
            return std::make_unique<LawEncoder>(config.format);
        default:
            return std::make_unique<PlainEncoder>();
    }
}

std::unique_ptr<SoundDecoder> CreateTalkDecoder() {
    return std::make_unique<TalkDecoder>();
}

}  // namespace kvrecorder
