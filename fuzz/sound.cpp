// Coded sound: a channel's at the client in blocks as they come, back into codes, and what a client says at
// the recorder. The first byte has the bits of a code and their order, the second the length of a block.
#include <vector>

#include "audio/g726.h"
#include "fuzz_input.h"
#include "media/sound_coder.h"

using kvfuzz::Check;
using kvmon::G726Codec;

namespace {

constexpr std::uint32_t kRate = 8000;

template <typename Take>
void InBlocks(std::span<const std::uint8_t> bytes, std::size_t block, Take take) {
    for (std::size_t at = 0; at < bytes.size(); at += block) {
        take(bytes.subspan(at, std::min(block, bytes.size() - at)));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvfuzz::Input input(data, size);
    const std::uint8_t form = input.Byte();
    const std::size_t block = 1 + input.Byte() % 64u;
    const std::span<const std::uint8_t> bytes = input.Rest();
    const std::uint32_t bits = 2 + form % 4u;
    const auto packing = (form & 4) != 0 ? kvmon::G726Packing::HighFirst : kvmon::G726Packing::LowFirst;

    G726Codec whole;
    G726Codec parts;
    Check(whole.Open(1, kRate, bits * kRate, packing) && parts.Open(1, kRate, bits * kRate, packing));
    std::vector<std::int16_t> samples;
    std::vector<std::int16_t> again;
    whole.Decode(bytes, samples);
    InBlocks(bytes, block, [&](auto part) { parts.Decode(part, again); });
    Check(samples.size() == bytes.size() * 8 / bits && again == samples);

    // Any samples at all: the recorder's own coder, which is another's work, makes the same of them.
    std::vector<std::int16_t> wild;
    InBlocks(bytes, 2,
             [&](auto part) { wild.push_back(static_cast<std::int16_t>(part.front() << 8 | part.back())); });
    wild.resize(wild.size() / 8 * 8);
    G726Codec encoder;
    Check(encoder.Open(1, kRate, bits * kRate, packing));
    std::vector<std::uint8_t> coded;
    encoder.Encode(wild, coded);
    kvrecorder::SoundConfig config;
    config.format = (form & 4) != 0 ? kvrecorder::SoundFormat::Z726 : kvrecorder::SoundFormat::G726;
    config.bits = static_cast<int>(bits);
    Check(kvrecorder::CreateSoundEncoder(config)->Encode(wild) == coded);

    const auto talk = kvrecorder::CreateTalkDecoder();
    std::vector<std::int16_t> heard;
    InBlocks(bytes, block, [&](auto part) {
        const auto decoded = talk->Decode(part);
        heard.insert(heard.end(), decoded.begin(), decoded.end());
    });
    Check(heard.size() == bytes.size() * 2);
    if (bits == 4 && packing == kvmon::G726Packing::LowFirst) {
        for (std::size_t i = 0; i < heard.size(); ++i) {
            // Beyond its limits sound is cut off here, and wraps there.
            constexpr int kLimit = 32767;
            Check(heard[i] == samples[i] || samples[i] >= kLimit || samples[i] <= -kLimit);
        }
    }
    return 0;
}
