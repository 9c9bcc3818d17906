#include "support/fake_clock.h"

#include <thread>

namespace kvtest {

using kvmon::Milliseconds;

std::chrono::system_clock::time_point FakeClock::Now() {
    // Noon of the second of January 2024, UTC, at the first tick.
    return std::chrono::system_clock::from_time_t(1704196800) + Milliseconds(m_tick - 1'000'000);
}

int FakeClock::WaitAny(std::span<kvmon::Event* const> events, std::optional<Milliseconds> timeout) {
    if (timeout) {
        const std::lock_guard lock(m_mutex);
        m_waits.push_back(*timeout);
    }
    const std::uint64_t end = m_tick + static_cast<std::uint64_t>(timeout.value_or(Milliseconds(0)).count());
    for (;;) {
        const int ready = events.empty() ? kvmon::kWaitTimeout
                                         : kvmon::WaitAny(events, Milliseconds(m_autoAdvance ? 0 : 1));
        if (ready != kvmon::kWaitTimeout) {
            return ready;
        }
        if (timeout && m_tick >= end) {
            return kvmon::kWaitTimeout;
        }
        if (timeout && m_autoAdvance) {
            m_tick = end;
            return kvmon::kWaitTimeout;
        }
        std::this_thread::sleep_for(Milliseconds(1));
    }
}

std::vector<Milliseconds> FakeClock::Waits() const {
    const std::lock_guard lock(m_mutex);
    return m_waits;
}

}  // namespace kvtest
