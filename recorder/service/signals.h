// The signals that the recorder's administrator and its manager send.
#pragma once

#include <chrono>
#include <csignal>
#include <optional>

namespace kvrecorder {

// From construction on SIGTERM, SIGINT and SIGHUP wait until they are asked for, in this thread and in all
// that it starts later: make it before them. Nothing here can fail or takes memory.
class Signals {
public:
    Signals();

    // The next of them, or nothing within the time. Without a time it waits for as long as it takes.
    std::optional<int> Next(std::optional<std::chrono::microseconds> within) const;
    // From any thread: as if the signal were sent from outside.
    static void Send(int signal);

private:
    sigset_t m_waited{};
};

}  // namespace kvrecorder
