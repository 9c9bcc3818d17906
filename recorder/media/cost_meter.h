// What work costs.
#pragma once

#include <chrono>
#include <ctime>
#include <optional>

namespace kvrecorder {

// The processor's time that the calling thread has taken so far.
inline std::chrono::nanoseconds ThreadTime() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

// The share of a processor that a kind of work takes, told once when it is known. One thread at a time.
class CostMeter {
public:
    using Clock = std::chrono::steady_clock;

    void Add(std::chrono::nanoseconds spent, Clock::time_point now = Clock::now()) {
        if (m_since) {
            m_spent += spent;
        } else {
            m_since = now;  // what came at once is no measure
        }
    }
    // In percent.
    std::optional<int> Share(Clock::time_point now = Clock::now()) {
        if (m_told || !m_since || now - *m_since < kMeasured) {
            return std::nullopt;
        }
        m_told = true;
        return static_cast<int>(100 * m_spent / (now - *m_since));
    }

private:
    static constexpr std::chrono::seconds kMeasured{10};

    std::chrono::nanoseconds m_spent{};
    std::optional<Clock::time_point> m_since;
    bool m_told = false;
};

}  // namespace kvrecorder
