#include <gmock/gmock.h>

#include <cmath>
#include <numbers>
#include <random>

// The library's headers do not pass our warnings.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
#include <spandsp.h>
#pragma GCC diagnostic pop

#include "audio/g711.h"
#include "audio/g726.h"

namespace kvmon {
namespace {

using Samples = std::vector<std::int16_t>;
using BytesOf = std::vector<std::uint8_t>;

constexpr std::size_t kBlock = 2000;  // eight codes of any size fill whole bytes

// A second implementation, which keeps to the recommendation's published test sequences.
class Peer {
public:
    Peer(int bits, G726Packing packing)
        : m_state(g726_init(nullptr, bits * 8000, G726_ENCODING_LINEAR,
                            packing == G726Packing::LowFirst ? G726_PACKING_RIGHT : G726_PACKING_LEFT)) {}
    ~Peer() { g726_free(m_state); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void Encode(std::span<const std::int16_t> samples, BytesOf& out) {
        const std::size_t at = out.size();
        out.resize(at + samples.size());
        const int made =
            g726_encode(m_state, out.data() + at, samples.data(), static_cast<int>(samples.size()));
        out.resize(at + static_cast<std::size_t>(made));
    }

    void Decode(std::span<const std::uint8_t> bytes, Samples& out) {
        const std::size_t at = out.size();
        out.resize(at + bytes.size() * 4);
        const int made = g726_decode(m_state, out.data() + at, bytes.data(), static_cast<int>(bytes.size()));
        out.resize(at + static_cast<std::size_t>(made));
    }

private:
    g726_state_t* m_state;
};

Samples Tone(double hertz, double height) {
    Samples samples(8 * kBlock);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double phase = 2 * std::numbers::pi * hertz * static_cast<double>(i) / 8000;
        samples[i] = static_cast<std::int16_t>(std::lround(height * std::sin(phase)));
    }
    return samples;
}

Samples Noise(int height) {
    Samples samples(8 * kBlock);
    std::mt19937 random(7);
    for (std::int16_t& sample : samples) {
        sample = static_cast<std::int16_t>(std::uniform_int_distribution<int>(-height, height)(random));
    }
    return samples;
}

// Voiced bursts with pauses, and clicks between them.
Samples Speech() {
    Samples samples = Tone(140, 9000);
    const Samples upper = Tone(1120, 5000);
    const Samples breath = Noise(600);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::size_t place = i % 2400;
        const double swell =
            place < 1600 ? std::sin(std::numbers::pi * static_cast<double>(place) / 1600) : 0;
        samples[i] = static_cast<std::int16_t>(swell * (samples[i] + upper[i]) + breath[i]);
        if (place == 1999) {
            samples[i] = i % 2 == 0 ? 32767 : -32768;
        }
    }
    return samples;
}

// Between the ends of the scale, with half a wave of so many samples, or of lengths that change: nothing
// drives the predictor further over its range.
Samples Square(int half) {
    Samples samples(8 * kBlock);
    std::mt19937 random(11);
    bool high = false;
    for (std::size_t i = 0; i < samples.size(); high = !high) {
        const int length = half > 0 ? half : std::uniform_int_distribution<int>(1, 90)(random);
        for (int k = 0; k < length && i < samples.size(); ++k) {
            samples[i++] = high ? 32767 : -32768;
        }
    }
    return samples;
}

// The step falls on a predictor that has settled, again and again.
Samples SquareAfterSilence() {
    Samples samples = Square(3);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (i / 200 % 2 == 0) {
            samples[i] = 0;
        }
    }
    return samples;
}

struct Material {
    const char* name;
    Samples samples;
};

std::vector<Material> AllMaterials() {
    return {{"silence", Samples(8 * kBlock)}, {"tone", Tone(440, 12000)},
            {"loud tone", Tone(1004, 32000)}, {"high tone", Tone(3400, 20000)},
            {"noise", Noise(20000)},          {"loud noise", Noise(32767)},
            {"whisper", Noise(40)},           {"speech", Speech()},
            {"square", Square(16)},           {"slow square", Square(250)},
            {"wandering square", Square(0)},  {"square after silence", SquareAfterSilence()}};
}

class G726Test : public testing::TestWithParam<std::tuple<int, G726Packing>> {
protected:
    int m_bits = std::get<0>(GetParam());
    G726Packing m_packing = std::get<1>(GetParam());

    G726Codec Codec() const {
        G726Codec codec;
        EXPECT_TRUE(codec.Open(1, 8000, static_cast<std::uint32_t>(m_bits) * 8000, m_packing));
        return codec;
    }
};

TEST_P(G726Test, AgreesBitForBitWithASecondImplementation) {
    for (const auto& [name, samples] : AllMaterials()) {
        SCOPED_TRACE(name);
        G726Codec encoder = Codec();
        G726Codec decoder = Codec();
        Peer peerEncoder(m_bits, m_packing);
        Peer peerDecoder(m_bits, m_packing);
        BytesOf ours, theirs;
        Samples heard, peerHeard;
        for (std::size_t at = 0; at < samples.size(); at += kBlock) {
            const std::span block = std::span(samples).subspan(at, kBlock);
            const std::size_t begin = ours.size();
            encoder.Encode(block, ours);
            peerEncoder.Encode(block, theirs);
            const std::span coded = std::span(ours).subspan(begin);
            decoder.Decode(coded, heard);
            peerDecoder.Decode(coded, peerHeard);
        }
        EXPECT_EQ(ours.size(), samples.size() * static_cast<std::size_t>(m_bits) / 8);
        EXPECT_EQ(ours, theirs);
        ASSERT_EQ(heard.size(), peerHeard.size());
        for (std::size_t i = 0; i < heard.size(); ++i) {
            // The peer wraps round where the sound overshoots; ours stays at the limit.
            const bool overshot = heard[i] == 32767 || heard[i] == -32768;
            ASSERT_TRUE(heard[i] == peerHeard[i] || overshot)
                << i << ": " << heard[i] << ", " << peerHeard[i];
        }
    }
}

TEST_P(G726Test, BlocksMayEndInsideACode) {
    const Samples samples = Speech();
    G726Codec whole = Codec();
    G726Codec parts = Codec();
    BytesOf bytes;
    Codec().Encode(samples, bytes);
    Samples atOnce, piecewise;
    whole.Decode(bytes, atOnce);
    for (std::size_t at = 0, step = 1; at < bytes.size(); at += step, step = step % 7 + 1) {
        parts.Decode(std::span(bytes).subspan(at, std::min(step, bytes.size() - at)), piecewise);
    }
    EXPECT_EQ(atOnce, piecewise);
    EXPECT_EQ(atOnce.size(), samples.size());
}

INSTANTIATE_TEST_SUITE_P(AllRates, G726Test,
                         testing::Combine(testing::Values(2, 3, 4, 5),
                                          testing::Values(G726Packing::HighFirst, G726Packing::LowFirst)),
                         [](const auto& named) {
                             const bool bHigh = std::get<1>(named.param) == G726Packing::HighFirst;
                             return std::to_string(std::get<0>(named.param) * 8) + "Kbit" +
                                    (bHigh ? "HighFirst" : "LowFirst");
                         });

TEST(G726CodecTest, RefusesOtherRatesAndChannels) {
    G726Codec codec;
    EXPECT_FALSE(codec.Open(1, 8000, 64000, G726Packing::LowFirst));
    EXPECT_FALSE(codec.Open(2, 8000, 32000, G726Packing::LowFirst));
    EXPECT_FALSE(codec.IsOpen());
    Samples samples;
    codec.Decode(BytesOf(100, 0x55), samples);
    EXPECT_TRUE(samples.empty());
}

TEST(G711Test, AgreesWithASecondImplementation) {
    for (int i = 0; i < 256; ++i) {
        const auto code = static_cast<std::uint8_t>(i);
        EXPECT_EQ(ExpandMuLaw(code), ulaw_to_linear(code)) << i;
        EXPECT_EQ(ExpandALaw(code), alaw_to_linear(code)) << i;
    }
}

}  // namespace
}  // namespace kvmon
