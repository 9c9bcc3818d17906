#include "audio/g726.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace kvmon {

namespace detail {

// The tables of one rate, by the magnitude of a code: half of the codes are the other half's mirror.
struct G726Rate {
    int bits;
    int leak;                         // of the zeroes, as a shift
    bool zeroIsCode;                  // a small positive difference has a code of its own
    std::span<const int> thresholds;  // ascending, of the normalised logarithm
    std::span<const int> levels;      // normalised logarithm of a reconstructed difference
    std::span<const int> weights;     // what a code does to the scale
    std::span<const int> activity;    // what it tells of the signal's restlessness
};

namespace {

constexpr int kThresholds2[] = {261};
constexpr int kLevels2[] = {116, 365};
constexpr int kWeights2[] = {-22, 439};
constexpr int kActivity2[] = {0, 7};

constexpr int kThresholds3[] = {8, 218, 331};
constexpr int kLevels3[] = {-2048, 135, 273, 373};
constexpr int kWeights3[] = {-4, 30, 137, 582};
constexpr int kActivity3[] = {0, 1, 2, 7};

constexpr int kThresholds4[] = {-124, 80, 178, 246, 300, 349, 400};
constexpr int kLevels4[] = {-2048, 4, 135, 213, 273, 323, 373, 425};
constexpr int kWeights4[] = {-12, 18, 41, 64, 112, 198, 355, 1122};
constexpr int kActivity4[] = {0, 0, 0, 1, 1, 1, 3, 7};

constexpr int kThresholds5[] = {-122, -16, 68, 139, 198, 250, 298, 339, 378, 413, 445, 475, 502, 528, 553};
constexpr int kLevels5[] = {-2048, -66, 28, 104, 169, 224, 274, 318, 358, 395, 429, 459, 488, 514, 539, 566};
constexpr int kWeights5[] = {14, 14, 24, 39, 40, 41, 58, 100, 141, 179, 219, 280, 358, 440, 529, 696};
constexpr int kActivity5[] = {0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 2, 3, 4, 5, 6, 6};

constexpr G726Rate kRates[] = {
    {2, 8, true, kThresholds2, kLevels2, kWeights2, kActivity2},
    {3, 8, false, kThresholds3, kLevels3, kWeights3, kActivity3},
    {4, 8, false, kThresholds4, kLevels4, kWeights4, kActivity4},
    {5, 9, false, kThresholds5, kLevels5, kWeights5, kActivity5},
};

int BitLength(int value) {
    return std::bit_width(static_cast<unsigned>(value));
}

G726Float ToFloat(bool negative, int magnitude) {
    const int exponent = BitLength(magnitude);
    return {negative, exponent, magnitude == 0 ? 32 : (magnitude << 6) >> exponent};
}

// A predictor coefficient times a delayed value, with the few bits that the recommendation keeps.
int Multiply(int coefficient, const G726Float& value) {
    const bool negative = coefficient < 0;
    const int shifted = coefficient >> 2;
    const G726Float factor = ToFloat(negative, (negative ? -shifted : shifted) & 0x1FFF);
    const int exponent = value.exponent + factor.exponent;
    const int mantissa = (value.mantissa * factor.mantissa + 48) >> 4;
    const int magnitude =
        exponent <= 26 ? (mantissa << 7) >> (26 - exponent) : ((mantissa << 7) << (exponent - 26)) & 0x7FFF;
    return value.negative != negative ? -magnitude : magnitude;
}

int Wrap16(int value) {
    return static_cast<std::int16_t>(value);
}

// The code's place in the tables.
std::size_t Magnitude(int code, int bits) {
    const int half = 1 << (bits - 1);
    return static_cast<std::size_t>(code < half ? code : 2 * half - 1 - code);
}

}  // namespace

void G726State::Open(int bitsPerSample) {
    *this = G726State();
    m_rate = &kRates[bitsPerSample - 2];
}

G726State::Estimate G726State::Predict() const {
    int zeroes = 0;
    for (std::size_t i = 0; i < m_zeroes.size(); ++i) {
        zeroes += Multiply(m_zeroes[i], m_differences[i]);
    }
    zeroes = Wrap16(zeroes);
    int signal = zeroes;
    for (std::size_t i = 0; i < m_poles.size(); ++i) {
        signal += Multiply(m_poles[i], m_signals[i]);
    }
    const int speed = m_speed >= 256 ? 64 : m_speed >> 2;
    const int slow = m_slowScale >> 6;
    const int gap = m_fastScale - slow;
    const int mixed = (std::abs(gap) * speed) >> 6;
    return {Wrap16(signal) >> 1, zeroes >> 1, slow + (gap < 0 ? -mixed : mixed)};
}

int G726State::Quantise(int difference, int stepHeight) const {
    const int magnitude = std::abs(difference);
    const int exponent = magnitude == 0 ? 0 : BitLength(magnitude) - 1;
    const int logarithm = (exponent << 7) + (((magnitude << 7) >> exponent) & 0x7F);
    const int normal = logarithm - (stepHeight >> 2);
    const auto& thresholds = m_rate->thresholds;
    const auto above = std::upper_bound(thresholds.begin(), thresholds.end(), normal);
    const int index = static_cast<int>(above - thresholds.begin());
    const int last = (1 << m_rate->bits) - 1;
    if (difference < 0) {
        return last - index;
    }
    return index == 0 && !m_rate->zeroIsCode ? last : index;
}

bool G726State::IsTransition(int magnitude) const {
    if (!m_tone) {
        return false;
    }
    const int whole = m_slowScale >> 15;
    const int fraction = (m_slowScale >> 10) & 0x1F;
    const int threshold = whole > 9 ? 31 << 10 : (32 + fraction) << whole;
    return magnitude > (threshold + (threshold >> 1)) >> 1;
}

int G726State::Reconstruct(int code, const Estimate& estimate) {
    const bool negative = (code >> (m_rate->bits - 1)) != 0;
    const int logarithm = m_rate->levels[Magnitude(code, m_rate->bits)] + (estimate.stepHeight >> 2);
    const int exponent = (logarithm >> 7) & 0x0F;
    const int magnitude = logarithm < 0 ? 0 : ((128 + (logarithm & 0x7F)) << 7) >> (14 - exponent);
    const int difference = negative ? -magnitude : magnitude;
    const int signal = Wrap16(estimate.signal + difference);
    // At overload of the highest rate this sum leaves 16 bits, and the recommendation lets it wrap.
    const int partial = Wrap16(estimate.zeroes + difference);

    const bool transition = IsTransition(magnitude);
    AdaptZeroes(negative, magnitude);
    AdaptPoles(partial < 0, partial != 0);
    const bool toneAhead = m_poles[1] < -11776;
    AdaptScale(code, estimate.stepHeight, toneAhead, transition);
    if (transition) {
        m_poles = {};
        m_zeroes = {};
    }
    m_tone = toneAhead && !transition;

    std::shift_right(m_differences.begin(), m_differences.end(), 1);
    m_differences[0] = ToFloat(negative, magnitude);
    m_signals[1] = m_signals[0];
    m_signals[0] = ToFloat(signal < 0, std::abs(signal) & 0x7FFF);
    m_signs[1] = m_signs[0];
    m_signs[0] = partial < 0;
    return signal;
}

void G726State::AdaptScale(int code, int stepHeight, bool toneAhead, bool transition) {
    const std::size_t index = Magnitude(code, m_rate->bits);
    const int weight = m_rate->weights[index] * 32;
    m_fastScale = std::clamp(stepHeight + ((weight - stepHeight) >> 5), 544, 5120);
    m_slowScale += m_fastScale + (-m_slowScale >> 6);

    const int activity = m_rate->activity[index];
    m_shortMean += ((activity << 9) - m_shortMean) >> 5;
    m_longMean += ((activity << 11) - m_longMean) >> 7;
    const bool restless =
        stepHeight < 1536 || toneAhead || std::abs((m_shortMean << 2) - m_longMean) >= m_longMean >> 3;
    m_speed = transition ? 256 : m_speed + (((restless ? 512 : 0) - m_speed) >> 4);
}

void G726State::AdaptPoles(bool negative, bool known) {
    int second = m_poles[1] - (m_poles[1] >> 7);
    int first = m_poles[0] - (m_poles[0] >> 8);
    if (known) {
        const bool turned = negative != m_signs[0];
        const int cross = std::clamp(m_poles[0], -8191, 8191) * 4;
        const int push = (negative != m_signs[1] ? -16384 : 16384) + (turned ? cross : -cross);
        second += push >> 7;
        first += turned ? -192 : 192;
    }
    m_poles[1] = std::clamp(second, -12288, 12288);
    const int limit = 15360 - m_poles[1];
    m_poles[0] = std::clamp(first, -limit, limit);
}

void G726State::AdaptZeroes(bool negative, int magnitude) {
    for (std::size_t i = 0; i < m_zeroes.size(); ++i) {
        const int push = magnitude == 0 ? 0 : negative != m_differences[i].negative ? -128 : 128;
        m_zeroes[i] = Wrap16(m_zeroes[i] + push - (m_zeroes[i] >> m_rate->leak));
    }
}

int G726State::Encode(int sample) {
    const Estimate estimate = Predict();
    const int code = Quantise(sample - estimate.signal, estimate.stepHeight);
    Reconstruct(code, estimate);
    return code;
}

int G726State::Decode(int code) {
    return Reconstruct(code, Predict());
}

}  // namespace detail

bool G726Codec::Open(int channels, std::uint32_t samplesPerSecond, std::uint32_t bitRate,
                     G726Packing packing) {
    const bool known = bitRate == 16000 || bitRate == 24000 || bitRate == 32000 || bitRate == 40000;
    if (channels != 1 || samplesPerSecond == 0 || !known) {
        return false;
    }
    m_bits = static_cast<int>(bitRate / 8000);
    m_packing = packing;
    m_pending = 0;
    m_pendingBits = 0;
    m_state.Open(m_bits);
    return true;
}

void G726Codec::Decode(std::span<const std::uint8_t> bytes, std::vector<std::int16_t>& samples) {
    if (!IsOpen()) {
        return;
    }
    const std::uint32_t mask = (1u << m_bits) - 1;
    for (const std::uint8_t byte : bytes) {
        if (m_packing == G726Packing::LowFirst) {
            m_pending |= std::uint32_t{byte} << m_pendingBits;
        } else {
            m_pending = m_pending << 8 | byte;
        }
        m_pendingBits += 8;
        while (m_pendingBits >= m_bits) {
            m_pendingBits -= m_bits;
            std::uint32_t code = 0;
            if (m_packing == G726Packing::LowFirst) {
                code = m_pending & mask;
                m_pending >>= m_bits;
            } else {
                code = m_pending >> m_pendingBits & mask;
            }
            const int sample = m_state.Decode(static_cast<int>(code)) * 4;
            samples.push_back(static_cast<std::int16_t>(std::clamp(sample, -32768, 32767)));
        }
    }
}

void G726Codec::Encode(std::span<const std::int16_t> samples, std::vector<std::uint8_t>& bytes) {
    if (!IsOpen()) {
        return;
    }
    for (const std::int16_t sample : samples) {
        const auto code = static_cast<std::uint32_t>(m_state.Encode(sample >> 2));
        if (m_packing == G726Packing::LowFirst) {
            m_pending |= code << m_pendingBits;
        } else {
            m_pending = m_pending << m_bits | code;
        }
        m_pendingBits += m_bits;
        while (m_pendingBits >= 8) {
            m_pendingBits -= 8;
            if (m_packing == G726Packing::LowFirst) {
                bytes.push_back(static_cast<std::uint8_t>(m_pending));
                m_pending >>= 8;
            } else {
                bytes.push_back(static_cast<std::uint8_t>(m_pending >> m_pendingBits));
            }
        }
    }
}

}  // namespace kvmon
