#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <vector>

#include "audio/microphone.h"
#include "platform/diagnostics.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxBytes = 64u << 20;
constexpr std::size_t kRiffHead = 12;
constexpr std::size_t kChunkHead = 8;

using Bytes = std::vector<std::uint8_t>;

std::uint32_t Number(const Bytes& bytes, std::size_t at, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = size; i-- > 0;) {
        value = value << 8 | bytes[at + i];
    }
    return value;
}

bool Says(const Bytes& bytes, std::size_t at, const char* word) {
    return bytes.size() >= at + 4 && std::memcmp(bytes.data() + at, word, 4) == 0;
}

bool IsFormat(const Bytes& bytes, std::size_t at, const PcmFormat& format) {
    return bytes.size() >= at + 16 && Number(bytes, at, 2) == 1 &&
           Number(bytes, at + 2, 2) == format.channels &&
           Number(bytes, at + 4, 4) == format.samplesPerSecond && Number(bytes, at + 14, 2) == 16;
}

std::vector<std::int16_t> Samples(const Bytes& bytes, std::size_t at, std::size_t size) {
    std::vector<std::int16_t> samples(std::min(size, bytes.size() - at) / 2);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<std::int16_t>(Number(bytes, at + 2 * i, 2));
    }
    return samples;
}

// False for a WAV file of another format or without sound.
bool Load(const Bytes& bytes, const PcmFormat& format, std::vector<std::int16_t>& samples) {
    if (!Says(bytes, 0, "RIFF")) {
        samples = Samples(bytes, 0, bytes.size());
        return true;
    }
    bool known = false;
    for (std::size_t at = kRiffHead; at + kChunkHead <= bytes.size();) {
        const std::size_t size = Number(bytes, at + 4, 4);
        const std::size_t body = at + kChunkHead;
        if (Says(bytes, at, "fmt ")) {
            known = IsFormat(bytes, body, format);
        } else if (Says(bytes, at, "data")) {
            samples = Samples(bytes, body, size);
            return known;
        }
        at = body + size + size % 2;  // a size beyond the end ends the walk
    }
    return false;
}

class FileMicrophone final : public Microphone {
public:
    FileMicrophone(std::string path, Clock& clock) : m_path(std::move(path)), m_clock(clock) {}

    bool Open(const PcmFormat& format) override {
        std::ifstream file(m_path, std::ios::binary);
        Bytes bytes;
        std::array<char, 4096> part;
        while (file && bytes.size() < kMaxBytes) {
            file.read(part.data(), part.size());
            bytes.insert(bytes.end(), part.begin(), part.begin() + file.gcount());
        }
        if (bytes.empty() || format.sampleBits != 16 || !Load(bytes, format, m_samples)) {
            Diagnose("Microphone: %s cannot be read, or is no sound of the wanted format\n", m_path.c_str());
            return false;
        }
        m_perSecond = std::uint64_t{format.samplesPerSecond} * format.channels;
        m_next = 0;
        m_start = m_clock.TickMs();
        return true;
    }

    bool Read(std::span<std::int16_t> block) override {
        for (std::int16_t& sample : block) {
            sample = m_next < m_samples.size() ? m_samples[m_next] : std::int16_t{0};
            ++m_next;
        }
        // The block's last sample has been heard at this time.
        const std::uint64_t due = m_start + m_next * 1000 / m_perSecond;
        const std::uint64_t now = m_clock.TickMs();
        return !m_clock.Wait(m_cancel, Milliseconds(due > now ? due - now : 0));
    }

    void Close() override {}
    void Cancel() override { m_cancel.Set(); }

private:
    const std::string m_path;
    Clock& m_clock;
    Event m_cancel;
    std::vector<std::int16_t> m_samples;
    std::uint64_t m_next = 0;
    std::uint64_t m_perSecond = 1;
    std::uint64_t m_start = 0;
};

}  // namespace

std::unique_ptr<Microphone> CreateFileMicrophone(const std::string& path, Clock& clock) {
    return std::make_unique<FileMicrophone>(path, clock);
}

}  // namespace kvmon
