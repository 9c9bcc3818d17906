// The signals that the recorder's administrator and its manager send.
#pragma once

#include <atomic>
#include <chrono>
#include <csignal>
#include <optional>
#include <thread>

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

// For this object's life SIGTERM and SIGINT end the program as where nobody waits for them: while it starts,
// a folder may hang for ever. Does without where there is no thread to spare.
class EndsAtOnce {
public:
    EndsAtOnce();
    ~EndsAtOnce();
    EndsAtOnce(const EndsAtOnce&) = delete;
    EndsAtOnce& operator=(const EndsAtOnce&) = delete;

private:
    void Run() const;

    std::atomic<bool> m_over{false};
    std::thread m_thread;
};

}  // namespace kvrecorder
