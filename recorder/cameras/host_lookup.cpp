#include "cameras/host_lookup.h"

#include <netdb.h>
#include <sys/socket.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

namespace kvrecorder {
namespace {

// Whoever waits is asked so often whether he still does.
constexpr std::chrono::milliseconds kAnswerLook{50};

bool IsKnown(const std::string& host, int flags) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = flags;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &wanted, &found);
    if (error == 0) {
        ::freeaddrinfo(found);
    }
    return error == 0;
}

struct Asked {
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<bool> isKnown;
};

}  // namespace

void CheckHostIsKnown(const std::string& host, InputLimit& limit) {
    if (IsKnown(host, AI_NUMERICHOST)) {
        return;
    }
    const auto asked = std::make_shared<Asked>();
    try {
        std::thread([asked, host] {
            const bool isKnown = IsKnown(host, 0);
            const std::lock_guard lock(asked->mutex);
            asked->isKnown = isKnown;
            asked->changed.notify_all();
        }).detach();
    } catch (const std::system_error&) {
        throw CameraError(FaultCode::NoThread);
    }
    std::unique_lock lock(asked->mutex);
    while (!asked->changed.wait_for(lock, kAnswerLook, [&] { return asked->isKnown.has_value(); })) {
        if (limit.IsOver() || limit.Ended()) {
            throw CameraError(limit.IsOver() ? FaultCode::NoAnswer : FaultCode::Closed);
        }
    }
    if (!*asked->isKnown) {
        throw CameraError(FaultCode::HostUnknown);
    }
}

}  // namespace kvrecorder
