#include "platform/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

namespace kvmon {

namespace {

// A new file in the same folder, under a short name: its own one may be as long as the file system
// allows.
int OpenNeighbour(const std::string& path, std::string& neighbour) {
    static std::atomic<unsigned> counter{0};
    constexpr int kTries = 100;
    int fd = -1;
    for (int i = 0; i < kTries && fd < 0; ++i) {
        neighbour = path.substr(0, path.rfind('/') + 1) + ".kvmon-" + std::to_string(::getpid()) + "-" +
                    std::to_string(counter++);
        fd = ::open(neighbour.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST) {  // one that a killed program left behind is passed by
            break;
        }
    }
    return fd;
}

bool WriteWhole(int fd, std::span<const std::uint8_t> data) {
    while (!data.empty()) {
        const ssize_t written = ::write(fd, data.data(), data.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        data = data.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

void SetDate(const std::string& path, std::chrono::system_clock::time_point date) {
    const auto since = date.time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
    const timespec time{seconds.count(),
                        std::chrono::duration_cast<std::chrono::nanoseconds>(since - seconds).count()};
    const timespec times[] = {time, time};
    ::utimensat(AT_FDCWD, path.c_str(), times, 0);
}

}  // namespace

bool SaveWholeFile(const std::string& path, std::span<const std::uint8_t> data,
                   std::optional<std::chrono::system_clock::time_point> date) {
    std::string neighbour;
    const int fd = OpenNeighbour(path, neighbour);
    if (fd < 0) {
        return false;
    }
    const bool written = WriteWhole(fd, data);
    const bool closed = ::close(fd) == 0;
    if (written && closed && date) {
        SetDate(neighbour, *date);
    }
    if (!written || !closed || std::rename(neighbour.c_str(), path.c_str()) != 0) {
        const int cause = errno;
        ::unlink(neighbour.c_str());
        errno = cause;
        return false;
    }
    return true;
}

}  // namespace kvmon
