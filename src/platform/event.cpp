#include "platform/event.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstdint>
#include <ctime>
#include <utility>

namespace kvmon {

namespace {

using SteadyClock = std::chrono::steady_clock;
using Word = std::atomic<std::uint32_t>;
static_assert(sizeof(Word) == sizeof(std::uint32_t) && Word::is_always_lock_free);

// Sleeps while the word has the value, at the longest until then. May end early.
void SleepWhile(Word& word, std::uint32_t value, std::optional<SteadyClock::time_point> until) {
    std::timespec end{};
    if (until) {
        const auto time = until->time_since_epoch();
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
        end.tv_sec = static_cast<std::time_t>(seconds.count());
        end.tv_nsec = static_cast<long>(std::chrono::nanoseconds(time - seconds).count());
    }
    ::syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, value, until ? &end : nullptr, nullptr,
              FUTEX_BITSET_MATCH_ANY);
}

void WakeOne(Word& word) {
    ::syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace

namespace detail {

// A wait's place in an event's list. An event that is set takes it out and then calls, once: until it has
// called the wait must not end.
struct WaitLink {
    Word* calls = nullptr;
    WaitLink* next = nullptr;
    bool isIn = false;               // under the event's lock
    std::atomic<bool> isFree{true};  // who took it out needs it no longer
};

}  // namespace detail

void Event::Set() {
    detail::WaitLink* link = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        m_set = true;
        link = std::exchange(m_waiters, nullptr);
        for (detail::WaitLink* each = link; each != nullptr; each = each->next) {
            each->isIn = false;
        }
    }
    // Not under the lock: who wakes would wait for it at once, and be woken twice. The event may be gone by
    // now, and each link is with its call.
    while (link != nullptr) {
        Word& calls = *link->calls;
        detail::WaitLink* const next = link->next;
        link->isFree = true;
        link = next;
        calls.fetch_add(1);
        WakeOne(calls);
    }
}

void Event::Reset() {
    const std::lock_guard lock(m_mutex);
    m_set = false;
}

bool Event::IsSet() const {
    const std::lock_guard lock(m_mutex);
    return m_set;
}

bool Event::Wait(std::optional<Milliseconds> timeout) {
    Event* const self = this;
    return WaitAny(std::span(&self, 1), timeout) == 0;
}

int WaitAny(std::span<Event* const> events, std::optional<Milliseconds> timeout) {
    constexpr std::size_t kMost = 8;
    const std::size_t count = events.size() < kMost ? events.size() : kMost;
    const bool bSleeps = !timeout || timeout->count() > 0;
    const auto until = timeout ? std::optional(SteadyClock::now() + *timeout) : std::nullopt;

    Word calls{0};
    std::uint32_t due = 0;  // calls that come of links that were in a list
    std::array<detail::WaitLink, kMost> links;
    const auto firstSet = [&] {
        for (std::size_t i = 0; i < count; ++i) {
            const std::lock_guard lock(events[i]->m_mutex);
            if (events[i]->m_set) {
                return static_cast<int>(i);
            }
            if (bSleeps && links[i].isFree) {
                links[i].isFree = false;
                links[i].calls = &calls;
                links[i].isIn = true;
                links[i].next = std::exchange(events[i]->m_waiters, &links[i]);
                ++due;
            }
        }
        return kWaitTimeout;
    };

    std::uint32_t seen = 0;
    int ready = firstSet();
    while (ready == kWaitTimeout && bSleeps && (!until || SteadyClock::now() < *until)) {
        SleepWhile(calls, seen, until);
        if (const std::uint32_t now = calls; now != seen) {
            seen = now;
            ready = firstSet();  // may be none: the event was reset again meanwhile
        }
    }

    for (std::size_t i = 0; i < count && due > 0; ++i) {
        const std::lock_guard lock(events[i]->m_mutex);
        if (links[i].isIn) {
            detail::WaitLink** place = &events[i]->m_waiters;
            while (*place != &links[i]) {
                place = &(*place)->next;
            }
            *place = links[i].next;
            --due;
        }
    }
    while (seen != due) {
        SleepWhile(calls, seen, std::nullopt);
        seen = calls;
    }
    return ready;
}

}  // namespace kvmon
