#include "platform/clock.h"

#include <thread>

namespace kvmon {

namespace {

class RealClock final : public Clock {
public:
    std::uint64_t TickMs() override {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return static_cast<std::uint64_t>(std::chrono::duration_cast<Milliseconds>(now).count());
    }

    std::chrono::system_clock::time_point Now() override { return std::chrono::system_clock::now(); }

    int WaitAny(std::span<Event* const> events, std::optional<Milliseconds> timeout) override {
        if (events.empty()) {
            std::this_thread::sleep_for(timeout.value_or(Milliseconds(0)));
            return kWaitTimeout;
        }
        return kvmon::WaitAny(events, timeout);
    }
};

}  // namespace

Clock& SystemClock() {
    static RealClock* const clock = new RealClock;  // never destroyed: abandoned threads may use it
    return *clock;
}

}  // namespace kvmon
