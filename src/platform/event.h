// Manual-reset events that can be waited for together.
#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <span>

namespace kvmon {

using Milliseconds = std::chrono::milliseconds;

namespace detail {
struct WaitLink;
}  // namespace detail

// Result of WaitAny when the time ran out.
inline constexpr int kWaitTimeout = -1;

// Stays set until Reset. All operations may be called from any thread; an event must outlive
// the waits on it.
class Event {
public:
    Event() = default;
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void Set();
    void Reset();
    bool IsSet() const;
    // True if the event is set now or within the time; no time means without limit.
    bool Wait(std::optional<Milliseconds> timeout = std::nullopt);

private:
    friend int WaitAny(std::span<Event* const> events, std::optional<Milliseconds> timeout);

    mutable std::mutex m_mutex;
    bool m_set = false;
    detail::WaitLink* m_waiters = nullptr;  // the waits to wake, linked through their stacks
};

// Waits until one of the events is set and gives its index; of several the lowest. kWaitTimeout
// when the time ran out. At most 8 events. Allocates nothing.
int WaitAny(std::span<Event* const> events, std::optional<Milliseconds> timeout);

}  // namespace kvmon
