// The timers of the console's window, by their numbers in console_messages.h.
#pragma once

#include <cstdint>

namespace kvmon {

// User interface thread only.
class Timers {
public:
    virtual ~Timers() = default;

    // Starts the timer, or restarts it with the new period.
    virtual void SetTimer(std::uint32_t id, int ms) = 0;
    virtual void KillTimer(std::uint32_t id) = 0;
    virtual bool IsTimerSet(std::uint32_t id) const = 0;
};

}  // namespace kvmon
