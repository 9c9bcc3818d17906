#include "host/service_manager.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace kvhost {
namespace {

constexpr int kFirstPassed = 3;
constexpr int kFirstFree = 10;

std::optional<long long> Number(const char* name) {
    const char* const text = std::getenv(name);
    long long number = 0;
    if (text == nullptr || std::from_chars(text, text + std::strlen(text), number).ec != std::errc() ||
        number < 0) {
        return std::nullopt;
    }
    return number;
}

// What is meant for a parent that has started this program is not ours.
bool IsOurs(const char* name) {
    const auto pid = Number(name);
    return pid && *pid == ::getpid();
}

}  // namespace

void TellManager(std::string_view state) noexcept {
    const char* const path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    if (path == nullptr || (path[0] != '/' && path[0] != '@') ||
        std::strlen(path) >= sizeof(address.sun_path)) {
        return;
    }
    const std::size_t length = std::strlen(path);
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path, length);
    if (path[0] == '@') {
        address.sun_path[0] = '\0';  // a name that is no file's
    }
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return;
    }
    ::sendto(fd, state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
             reinterpret_cast<sockaddr*>(&address),
             static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
    ::close(fd);
}

std::string ReloadingState() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return "RELOADING=1\nMONOTONIC_USEC=" + std::to_string(now.tv_sec * 1'000'000LL + now.tv_nsec / 1000);
}

std::optional<std::chrono::milliseconds> WatchdogPause() {
    const auto time = Number("WATCHDOG_USEC");
    if (!time || *time == 0 || (std::getenv("WATCHDOG_PID") != nullptr && !IsOurs("WATCHDOG_PID"))) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(std::max(*time / 2000, 1LL));
}

std::optional<int> TakeListeningSocket() {
    const auto count = Number("LISTEN_FDS");
    const bool ours = IsOurs("LISTEN_PID");
    for (const char* const name : {"LISTEN_FDS", "LISTEN_PID", "LISTEN_FDNAMES"}) {
        ::unsetenv(name);
    }
    int listens = 0;
    socklen_t size = sizeof(listens);
    if (!ours || !count || *count < 1 ||
        ::getsockopt(kFirstPassed, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) != 0 || listens == 0) {
        return std::nullopt;
    }
    const int fd = ::fcntl(kFirstPassed, F_DUPFD_CLOEXEC, kFirstFree);
    ::close(kFirstPassed);
    return fd < 0 ? std::nullopt : std::optional(fd);
}

std::string CredentialFile(std::string_view name) {
    const char* const folder = std::getenv("CREDENTIALS_DIRECTORY");
    if (folder == nullptr || name.empty() || name.find('/') != std::string_view::npos) {
        return {};
    }
    const std::string path = std::string(folder) + "/" + std::string(name);
    struct stat found {};
    return ::stat(path.c_str(), &found) == 0 && found.st_size > 1 ? path : std::string();
}

}  // namespace kvhost
