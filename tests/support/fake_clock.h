// A clock that tests move.
#pragma once

#include <atomic>
#include <mutex>
#include <vector>

#include "platform/clock.h"

namespace kvtest {

// Timed waits end when the event is set or when the test has moved the clock far enough. With
// `autoAdvance` a timed wait whose events are not set moves the clock itself and ends at once.
class FakeClock final : public kvmon::Clock {
public:
    explicit FakeClock(bool autoAdvance = false) : FakeClock(autoAdvance, kvmon::Milliseconds(0)) {}
    // Moves itself as with `autoAdvance`, but each wait really lasts this long: threads that try again and
    // again leave the processor, and the test's thread, their turn.
    explicit FakeClock(kvmon::Milliseconds pace) : FakeClock(true, pace) {}

    std::uint64_t TickMs() override { return m_tick; }
    std::chrono::system_clock::time_point Now() override;
    int WaitAny(std::span<kvmon::Event* const> events, std::optional<kvmon::Milliseconds> timeout) override;

    kvmon::Milliseconds SocketRound(kvmon::Milliseconds nominal) override {
        const int set = m_socketRoundMs;
        return set > 0 ? kvmon::Milliseconds(set) : nominal;
    }

    // Shortens each 250 ms round of a wait for a socket, for tests with a peer that stays silent.
    void SetSocketRound(kvmon::Milliseconds round) { m_socketRoundMs = static_cast<int>(round.count()); }
    void Advance(kvmon::Milliseconds time) { m_tick += static_cast<std::uint64_t>(time.count()); }
    // The time-outs of all timed waits so far, in order of their beginning.
    std::vector<kvmon::Milliseconds> Waits() const;

private:
    FakeClock(bool autoAdvance, kvmon::Milliseconds pace) : m_autoAdvance(autoAdvance), m_pace(pace) {}
    void AdvanceTo(std::uint64_t tick);

    const bool m_autoAdvance;
    const kvmon::Milliseconds m_pace;
    std::atomic<std::uint64_t> m_tick{1'000'000};
    std::atomic<int> m_socketRoundMs{0};
    mutable std::mutex m_mutex;
    std::vector<kvmon::Milliseconds> m_waits;
};

}  // namespace kvtest
