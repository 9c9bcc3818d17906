// ITU-T G.726: adaptive differential sound of 2 to 5 bits a sample.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace kvmon {

// How codes lie in bytes: the first code in the high bits, or in the low ones.
enum class G726Packing : int { HighFirst = 0, LowFirst = 1 };

namespace detail {

// A number as the predictor's delay lines hold it: sign, exponent, six bits of mantissa.
struct G726Float {
    bool negative = false;
    int exponent = 0;
    int mantissa = 32;
};

struct G726Rate;

// Quantiser, scale and predictor, which encoder and decoder move in step.
class G726State {
public:
    void Open(int bitsPerSample);
    // One linear sample of 14 bits to a code.
    int Encode(int sample);
    // One code to a linear sample of 14 bits, a little more at overload.
    int Decode(int code);

private:
    struct Estimate {
        int signal;      // of the whole predictor
        int zeroes;      // of its zeroes alone
        int stepHeight;  // of the quantiser, a logarithm
    };

    Estimate Predict() const;
    int Quantise(int difference, int stepHeight) const;
    int Reconstruct(int code, const Estimate& estimate);
    bool IsTransition(int magnitude) const;
    void AdaptScale(int code, int stepHeight, bool toneAhead, bool transition);
    void AdaptPoles(bool negative, bool known);
    void AdaptZeroes(bool negative, int magnitude);

    const G726Rate* m_rate = nullptr;
    int m_slowScale = 34816;
    int m_fastScale = 544;
    int m_shortMean = 0;
    int m_longMean = 0;
    int m_speed = 0;
    bool m_tone = false;
    std::array<int, 2> m_poles{};
    std::array<int, 6> m_zeroes{};
    std::array<bool, 2> m_signs{};
    std::array<G726Float, 6> m_differences{};
    std::array<G726Float, 2> m_signals{};
};

}  // namespace detail

// One direction of one sound. State and unfinished bits carry over from block to block.
class G726Codec {
public:
    // False for a bit rate that is not 16000, 24000, 32000 or 40000, or more than one channel. Begins
    // anew otherwise.
    bool Open(int channels, std::uint32_t samplesPerSecond, std::uint32_t bitRate, G726Packing packing);
    void Close() { m_bits = 0; }
    bool IsOpen() const { return m_bits != 0; }

    // Appends the samples of all codes that are complete.
    void Decode(std::span<const std::uint8_t> bytes, std::vector<std::int16_t>& samples);
    // Appends the bytes that are complete.
    void Encode(std::span<const std::int16_t> samples, std::vector<std::uint8_t>& bytes);

private:
    detail::G726State m_state;
    int m_bits = 0;  // 0 when closed
    G726Packing m_packing = G726Packing::LowFirst;
    std::uint32_t m_pending = 0;
    int m_pendingBits = 0;
};

}  // namespace kvmon
