#include "media/sound_source.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <vector>

#include "media/wav_file.h"

namespace kvrecorder {
namespace {

constexpr double kLoudness = 10000;
constexpr int kRest = 127;

// Steps above the key's first note, in half tones; each note takes as long as the tune says.
struct Tune {
    double key;  // hertz
    double noteSeconds;
    std::array<int, 8> steps;
};
constexpr std::array<Tune, 8> kTunes = {{
    {262, 0.25, {0, 4, 7, 12, 7, 4, 0, kRest}},
    {294, 0.20, {12, 11, 9, 7, 5, 4, 2, 0}},
    {330, 0.30, {0, 0, 7, 7, 9, 9, 7, kRest}},
    {349, 0.15, {0, kRest, 5, kRest, 9, kRest, 12, kRest}},
    {392, 0.25, {7, 5, 3, 0, 3, 5, 7, kRest}},
    {440, 0.35, {0, 12, 0, 12, 5, 12, 5, 12}},
    {494, 0.20, {0, 2, 4, 0, 2, 4, 7, kRest}},
    {523, 0.30, {4, 0, -5, 0, 4, 7, 4, kRest}},
}};

class TuneSource final : public SoundSource {
public:
    TuneSource(const Tune& tune, int rate) : m_tune(tune), m_rate(rate) {}

    void Fill(std::uint64_t first, std::span<std::int16_t> samples) const override {
        const auto noteLength = static_cast<std::uint64_t>(m_tune.noteSeconds * m_rate);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const std::uint64_t at = first + i;
            const int step = m_tune.steps[at / noteLength % m_tune.steps.size()];
            samples[i] = step == kRest ? std::int16_t{0} : Note(step, at % noteLength);
        }
    }

private:
    // Plucked: a quick rise and a slow fall, with two overtones.
    std::int16_t Note(int step, std::uint64_t at) const {
        const double seconds = static_cast<double>(at) / m_rate;
        const double turn = 2 * std::numbers::pi * m_tune.key * std::exp2(step / 12.0) * seconds;
        const double sound = std::sin(turn) + 0.4 * std::sin(2 * turn) + 0.15 * std::sin(3 * turn);
        const double height = std::min(seconds / 0.01, 1.0) * std::exp(-4 * seconds);
        return static_cast<std::int16_t>(std::lround(kLoudness * height * sound));
    }

    const Tune& m_tune;
    const int m_rate;
};

class ToneSource final : public SoundSource {
public:
    ToneSource(int hertz, int rate) : m_hertz(static_cast<std::uint64_t>(hertz)), m_rate(rate) {}

    void Fill(std::uint64_t first, std::span<std::int16_t> samples) const override {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            // Whole turns are left out, so that the tone is as pure after a day as at first.
            const std::uint64_t part = (first + i) * m_hertz % static_cast<std::uint64_t>(m_rate);
            const double turn = 2 * std::numbers::pi * static_cast<double>(part) / m_rate;
            samples[i] = static_cast<std::int16_t>(std::lround(kLoudness * std::sin(turn)));
        }
    }

private:
    const std::uint64_t m_hertz;
    const int m_rate;
};

class FileSound final : public SoundSource {
public:
    explicit FileSound(std::vector<std::int16_t> samples) : m_samples(std::move(samples)) {}

    void Fill(std::uint64_t first, std::span<std::int16_t> samples) const override {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] = m_samples[(first + i) % m_samples.size()];
        }
    }

private:
    const std::vector<std::int16_t> m_samples;
};

}  // namespace

int SoundTunes() {
    return static_cast<int>(kTunes.size());
}

std::unique_ptr<SoundSource> CreateSoundSource(int channel, const SoundConfig& config) {
    if (!config.file.empty()) {
        return std::make_unique<FileSound>(ReadWav(config.file, config.rate));
    }
    if (config.hertz > 0) {
        return std::make_unique<ToneSource>(config.hertz, config.rate);
    }
    const int tune = config.tune > 0 ? config.tune - 1 : channel;
    return std::make_unique<TuneSource>(kTunes[static_cast<std::size_t>(tune) % kTunes.size()], config.rate);
}

}  // namespace kvrecorder
