// Time as the logic sees it, so that tests can hand in a clock of their own.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/event.h"

namespace kvmon {

class Clock {
public:
    virtual ~Clock() = default;

    // Milliseconds of a counter that never steps back.
    virtual std::uint64_t TickMs() = 0;
    // The local wall clock.
    virtual std::chrono::system_clock::time_point Now() = 0;
    // As the free WaitAny, in this clock's time.
    virtual int WaitAny(std::span<Event* const> events, std::optional<Milliseconds> timeout) = 0;

    // How long a socket is really waited for in a round that stands for `nominal`.
    virtual Milliseconds SocketRound(Milliseconds nominal) { return nominal; }

    // True if the event was set within the time.
    bool Wait(Event& event, Milliseconds timeout) {
        Event* const one = &event;
        return WaitAny(std::span(&one, 1), timeout) == 0;
    }
    void Sleep(Milliseconds time) { WaitAny({}, time); }
};

// The real clock. Lives as long as the process.
Clock& SystemClock();

}  // namespace kvmon
