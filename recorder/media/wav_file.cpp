#include "media/wav_file.h"

#include <algorithm>
#include <stdexcept>

#include "media/plain_file.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kHeadBytes = 44;
constexpr std::size_t kMaxReadBytes = 48000u * 2 * 15 * 60;

std::uint32_t Number(std::string_view bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(bytes[i]);
    }
    return value;
}

void Put(std::string& bytes, std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) {
        bytes.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
    }
}

std::string SampleBytes(std::span<const std::int16_t> samples) {
    std::string bytes;
    bytes.reserve(samples.size() * 2);
    for (const std::int16_t sample : samples) {
        Put(bytes, static_cast<std::uint16_t>(sample), 2);
    }
    return bytes;
}

std::string ReadSound(const std::string& path) {
    try {
        return ReadPlainFile(path, kMaxReadBytes);
    } catch (const std::runtime_error& failure) {
        throw std::runtime_error("cannot read " + path + ": " + failure.what());
    }
}

}  // namespace

std::vector<std::int16_t> ParseWav(std::string_view bytes, int rate, const std::string& path) {
    const std::runtime_error unusable(path + " is no WAV file of mono sound with 16 bits and " +
                                      std::to_string(rate) + " samples a second");
    if (!bytes.starts_with("RIFF") || bytes.substr(std::min<std::size_t>(8, bytes.size()), 4) != "WAVE") {
        throw unusable;
    }
    bool known = false;
    for (std::size_t at = 12; at + 8 <= bytes.size();) {
        const std::string_view name = bytes.substr(at, 4);
        const std::size_t size = Number(bytes.substr(at + 4, 4));
        const std::string_view body = bytes.substr(at + 8, size);
        if (name == "fmt " && body.size() >= 16) {
            known = Number(body.substr(0, 2)) == 1 && Number(body.substr(2, 2)) == 1 &&
                    Number(body.substr(4, 4)) == static_cast<std::uint32_t>(rate) &&
                    Number(body.substr(14, 2)) == 16;
        } else if (name == "data") {
            std::vector<std::int16_t> samples(body.size() / 2);
            for (std::size_t i = 0; i < samples.size(); ++i) {
                samples[i] = static_cast<std::int16_t>(Number(body.substr(2 * i, 2)));
            }
            if (!known || samples.empty()) {
                throw unusable;
            }
            return samples;
        }
        at += 8 + size + size % 2;
    }
    throw unusable;
}

std::vector<std::int16_t> ReadWav(const std::string& path, int rate) {
    return ParseWav(ReadSound(path), rate, path);
}

WavWriter::WavWriter(const std::string& path, int rate, FileGroup group) : m_rate(rate) {
    Descriptor made = MakePrivateFile(path, group);
    m_file.reset(::fdopen(made.Get(), "wb"));
    if (!m_file) {
        throw std::runtime_error("cannot make " + path);
    }
    made.Release();
    WriteHead();
}

WavWriter::~WavWriter() {
    std::rewind(m_file.get());
    WriteHead();
}

void WavWriter::WriteHead() {
    const auto size = static_cast<std::uint32_t>(m_samples * 2);
    std::string head = "RIFF";
    Put(head, static_cast<std::uint32_t>(kHeadBytes) - 8 + size, 4);
    head += "WAVEfmt ";
    Put(head, 16, 4);
    Put(head, 1, 2);
    Put(head, 1, 2);
    Put(head, static_cast<std::uint32_t>(m_rate), 4);
    Put(head, static_cast<std::uint32_t>(m_rate) * 2, 4);
    Put(head, 2, 2);
    Put(head, 16, 2);
    head += "data";
    Put(head, size, 4);
    std::fwrite(head.data(), 1, head.size(), m_file.get());
}

void WavWriter::Write(std::span<const std::int16_t> samples) {
    samples = samples.first(std::min(samples.size(), kMaxSamples - m_samples));
    const std::string bytes = SampleBytes(samples);
    m_samples += std::fwrite(bytes.data(), 1, bytes.size(), m_file.get()) / 2;
    std::fflush(m_file.get());
}

}  // namespace kvrecorder
