// Sound in files: mono, 16 bits a sample.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "media/private_file.h"

namespace kvrecorder {

// Throws std::runtime_error with words for the user, and the file's name in them, if the bytes are none, or
// have another form or rate, or no sound.
std::vector<std::int16_t> ParseWav(std::string_view bytes, int rate, const std::string& path);
// Throws std::runtime_error with words for the user if the file is none, or has another form or rate, or no
// sound. At most a quarter of an hour at 48000 samples a second is read.
std::vector<std::int16_t> ReadWav(const std::string& path, int rate);

// Writes as the sound comes; whole after each Write but for the sizes in its head, which the end puts right.
class WavWriter {
public:
    static constexpr std::size_t kMaxSamples = 8000u * 60 * 60;  // an hour; what follows is left out

    // Throws std::runtime_error if there is such a file already or it cannot be made.
    WavWriter(const std::string& path, int rate, FileGroup group = {});
    ~WavWriter();
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    void Write(std::span<const std::int16_t> samples);

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void WriteHead();

    std::unique_ptr<std::FILE, Close> m_file;
    const int m_rate;
    std::size_t m_samples = 0;
};

}  // namespace kvrecorder
