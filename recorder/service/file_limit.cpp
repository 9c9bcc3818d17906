#include "service/file_limit.h"

#include <sys/resource.h>

namespace kvrecorder {
namespace {

constexpr std::size_t kOwnFiles = 64;     // standard streams, sockets, commands, timers, a file that is read
constexpr std::size_t kChannelFiles = 3;  // its film, its recording, a talk
constexpr std::size_t kLeastConnections = 8;

}  // namespace

std::size_t RaiseFileLimit() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < limit.rlim_max) {
        rlimit raised{limit.rlim_max, limit.rlim_max};
        limit = ::setrlimit(RLIMIT_NOFILE, &raised) == 0 ? raised : limit;
    }
    return limit.rlim_cur;
}

std::string FitConnections(RecorderConfig& config, std::size_t files) {
    const std::size_t others = kOwnFiles + kChannelFiles * config.channels.size();
    const std::size_t ports = config.cameraListen.empty() ? 1 : 2;
    const std::size_t carried = files > others ? (files - others) / ports : 0;
    if (carried < kLeastConnections) {
        throw ConfigError("the limit of " + std::to_string(files) + " open files is too low");
    }
    if (carried >= static_cast<std::size_t>(config.server.maxConnections)) {
        return "";
    }
    const int wanted = config.server.maxConnections;
    config.server.maxConnections = static_cast<int>(carried);
    return "max_connections is " + std::to_string(carried) + " instead of " + std::to_string(wanted) + ": " +
           std::to_string(files) + " open files carry no more";
}

}  // namespace kvrecorder
