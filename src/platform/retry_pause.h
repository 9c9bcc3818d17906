// When what did not come about is tried again.
#pragma once

#include <cstdint>

#include "platform/event.h"

namespace kvmon {

// The pause before the next try: 1 s after fewer than 3 failures in a row, 5 s up to 7, then 15 s.
constexpr Milliseconds RetryPause(std::uint32_t nFailures) {
    return Milliseconds(nFailures < 3 ? 1000 : nFailures < 8 ? 5000 : 15000);
}

// For a thread that the system had no place for, or that has ended unasked. Its owner looks at it now and
// then.
class RestartPause {
public:
    // True when the time has come to start it. A thread that runs, or is not wanted, begins the count anew.
    bool IsDue(bool bMissing, std::uint64_t nowMs) {
        if (!bMissing) {
            m_nFailures = 0;
            m_nDueAt = 0;
            return false;
        }
        if (m_nDueAt == 0) {
            m_nDueAt = nowMs + static_cast<std::uint64_t>(RetryPause(++m_nFailures).count());
        }
        if (nowMs < m_nDueAt) {
            return false;
        }
        m_nDueAt = 0;
        return true;
    }
    // A time of the clock; 0 while nothing is waited for.
    std::uint64_t DueAt() const { return m_nDueAt; }

private:
    std::uint32_t m_nFailures = 0;
    std::uint64_t m_nDueAt = 0;
};

}  // namespace kvmon
