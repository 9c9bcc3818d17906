#include "support/fake_clock.h"

#include <algorithm>
#include <thread>

namespace kvtest {

using kvmon::Milliseconds;

std::chrono::system_clock::time_point FakeClock::Now() {
    // Noon of the second of January 2024, UTC, at the first tick.
    return std::chrono::system_clock::from_time_t(1704196800) + Milliseconds(tick_ - 1'000'000);
}

int FakeClock::WaitAny(std::span<kvmon::Event* const> events, std::optional<Milliseconds> timeout) {
    if (timeout) {
        const std::lock_guard lock(mutex_);
        waits_.push_back(*timeout);
    }
    const std::uint64_t end = tick_ + static_cast<std::uint64_t>(timeout.value_or(Milliseconds(0)).count());
    for (;;) {
        const Milliseconds look = !autoAdvance_ ? Milliseconds(1) : std::min(pace_, timeout.value_or(pace_));
        const int ready = events.empty() ? kvmon::kWaitTimeout : kvmon::WaitAny(events, look);
        if (ready != kvmon::kWaitTimeout) {
            return ready;
        }
        if (timeout && tick_ >= end) {
            return kvmon::kWaitTimeout;
        }
        if (timeout && autoAdvance_) {
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
    std::uint64_t now = tick_;
    while (now < tick && !tick_.compare_exchange_weak(now, tick)) {
    }
}

std::vector<Milliseconds> FakeClock::Waits() const {
    const std::lock_guard lock(mutex_);
    return waits_;
}

}  // namespace kvtest
