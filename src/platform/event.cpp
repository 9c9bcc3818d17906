#include "platform/event.h"

#include <array>
#include <condition_variable>

namespace kvmon {

namespace detail {

struct EventWaiter {
    std::mutex mutex;
    std::condition_variable wake;
    bool signalled = false;
};

struct WaitLink {
    EventWaiter* waiter = nullptr;
    WaitLink* next = nullptr;
};

}  // namespace detail

void Event::Set() {
    // The waiters are told under the lock: a waiter takes its link out under the same lock, so
    // that none of them can be gone here.
    const std::lock_guard lock(m_mutex);
    m_set = true;
    for (detail::WaitLink* link = m_waiters; link != nullptr; link = link->next) {
        const std::lock_guard waiterLock(link->waiter->mutex);
        link->waiter->signalled = true;
        link->waiter->wake.notify_one();
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
    const auto firstSet = [&] {
        for (std::size_t i = 0; i < count; ++i) {
            if (events[i]->IsSet()) {
                return static_cast<int>(i);
            }
        }
        return kWaitTimeout;
    };
    if (const int ready = firstSet(); ready != kWaitTimeout || (timeout && timeout->count() <= 0)) {
        return ready;
    }

    detail::EventWaiter waiter;
    std::array<detail::WaitLink, kMost> links;
    for (std::size_t i = 0; i < count; ++i) {
        const std::lock_guard lock(events[i]->m_mutex);
        links[i] = {&waiter, events[i]->m_waiters};
        events[i]->m_waiters = &links[i];
    }

    const auto deadline = std::chrono::steady_clock::now() + timeout.value_or(Milliseconds(0));
    int ready = firstSet();
    while (ready == kWaitTimeout) {
        std::unique_lock lock(waiter.mutex);
        const auto signalled = [&] { return waiter.signalled; };
        if (!timeout) {
            waiter.wake.wait(lock, signalled);
        } else if (!waiter.wake.wait_until(lock, deadline, signalled)) {
            break;
        }
        waiter.signalled = false;
        lock.unlock();
        ready = firstSet();  // may be none: the event was reset again meanwhile
    }

    for (std::size_t i = 0; i < count; ++i) {
        const std::lock_guard lock(events[i]->m_mutex);
        detail::WaitLink** place = &events[i]->m_waiters;
        while (*place != &links[i]) {
            place = &(*place)->next;
        }
        *place = links[i].next;
    }
    return ready;
}

}  // namespace kvmon
