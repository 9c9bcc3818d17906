#include "support/fake_clock.h"

#include <algorithm>
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
        const Milliseconds look =
            !m_autoAdvance ? Milliseconds(1) : std::min(m_pace, timeout.value_or(m_pace));
        const int ready = events.empty() ? kvmon::kWaitTimeout : kvmon::WaitAny(events, look);
        if (ready != kvmon::kWaitTimeout) {
            return ready;
        }
        if (timeout && m_tick >= end) {
            return kvmon::kWaitTimeout;
        }
        if (timeout && m_autoAdvance) {
            if (events.empty()) {
                std::this_thread::sleep_for(look);
            }
            AdvanceTo(end);
            return kvmon::kWaitTimeout;
        }
        std::this_thread::sleep_for(Milliseconds(1));
    }
}

// Another thread's wait may have moved the clock further meanwhile.
void FakeClock::AdvanceTo(std::uint64_t tick) {
    std::uint64_t now = m_tick;
    while (now < tick && !m_tick.compare_exchange_weak(now, tick)) {
    }
}

std::vector<Milliseconds> FakeClock::Waits() const {
    const std::lock_guard lock(m_mutex);
    return m_waits;
}

}  // namespace kvtest
