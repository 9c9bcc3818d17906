// Files that a recorder's administrator gives it: a configuration, a sound, a film. The first byte chooses.
#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>

#include "fuzz_input.h"
#include "media/file_decoder.h"
#include "media/file_reader.h"
#include "media/wav_file.h"
#include "state/recorder_config.h"

using namespace kvrecorder;
using kvfuzz::Check;

namespace {

void ReadConfig(std::string_view text) {
    const RecorderConfig config = ParseConfig(text, "fuzz.toml");
    Check(config.channels.size() <= static_cast<std::size_t>(kMaxChannels) && config.users.size() <= 64);
    for (const User& user : config.users) {
        Check(!user.name.empty() && user.name.size() <= kMaxUserBytes && !user.password.Empty());
    }
}

void ReadSound(std::string_view bytes) {
    const auto samples = ParseWav(bytes, 8000, "fuzz.wav");
    Check(!samples.empty() && samples.size() * 2 < bytes.size());
}

// A file without a place on a disk.
class FileInMemory {
public:
    explicit FileInMemory(std::span<const std::uint8_t> bytes) : m_fd(::memfd_create("fuzz", MFD_CLOEXEC)) {
        Check(m_fd >= 0 && ::write(m_fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    }
    ~FileInMemory() { ::close(m_fd); }
    FileInMemory(const FileInMemory&) = delete;
    FileInMemory& operator=(const FileInMemory&) = delete;
    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

private:
    const int m_fd;
};

// Once through, and on at the start again. Other kinds of films are the library's affair alone.
void ReadFilm(std::span<const std::uint8_t> bytes) {
    constexpr std::uint8_t kMatroska[] = {0x1A, 0x45, 0xDF, 0xA3};
    constexpr int kPackets = 20;
    if (bytes.size() < sizeof kMatroska ||
        !std::equal(std::begin(kMatroska), std::end(kMatroska), bytes.begin())) {
        return;
    }
    const FileInMemory file(bytes);
    FileReader reader(file.Path());
    const FileFormat format = reader.Format();
    Check(format.width > 0 && format.height > 0 && format.fps > 0 && format.fps <= 60);
    for (int i = 0; i < kPackets; ++i) {
        const FileReader::Next next = reader.Read();
        Check(next.packet != nullptr && next.packet->size > 0);
        Check(next.after > MediaTime::zero() && next.delay >= MediaTime::zero());
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    av_log_set_level(AV_LOG_QUIET);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvfuzz::Input input(data, size);
    try {
        switch (input.Byte() % 3) {
            case 0:
                ReadConfig(input.RestText());
                break;
            case 1:
                ReadSound(input.RestText());
                break;
            default:
                ReadFilm(input.Rest());
        }
    } catch (const std::runtime_error& told) {
        Check(told.what()[0] != '\0');
    }
    return 0;
}
