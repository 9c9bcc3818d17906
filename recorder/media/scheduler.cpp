#include "media/scheduler.h"

#include <chrono>
#include <exception>

namespace kvrecorder {
namespace {

// Before the next try of a task that failed.
constexpr MediaTime kRetry{1'000'000};
// Whoever is back so soon keeps nobody waiting.
constexpr std::chrono::microseconds kSoon{500};

}  // namespace

Scheduler::Scheduler(std::shared_ptr<MediaClock> clock, int threads) : m_clock(std::move(clock)) {
    m_threads.reserve(static_cast<std::size_t>(threads));
    try {
        while (static_cast<int>(m_threads.size()) < threads) {
            m_threads.emplace_back([this] { Run(); });
        }
    } catch (const std::exception&) {
        if (m_threads.empty()) {
            throw;
        }
        // The others do its share.
    }
}

Scheduler::~Scheduler() {
    Stop();
}

void Scheduler::Stop() {
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    m_threads.clear();
    std::unique_lock lock(m_mutex);
    m_guestLeft.wait(lock, [this] { return m_guests == 0; });
}

int Scheduler::Add(Task task) {
    const std::lock_guard lock(m_mutex);
    auto entry = std::make_unique<Entry>();
    entry->task = std::move(task);
    m_entries.push_back(std::move(entry));
    return static_cast<int>(m_entries.size()) - 1;
}

void Scheduler::Wake(int task) {
    {
        const std::lock_guard lock(m_mutex);
        Entry& entry = *m_entries[static_cast<std::size_t>(task)];
        if (entry.running) {
            entry.wakeAgain = true;
        } else {
            entry.due = m_clock->Now();
        }
    }
    m_wake.notify_one();
}

void Scheduler::RunHere(int task) {
    std::unique_lock lock(m_mutex);
    Entry& entry = *m_entries[static_cast<std::size_t>(task)];
    if (m_stop || entry.running) {
        entry.wakeAgain = true;
        return;
    }
    ++m_guests;
    RunTask(entry, lock);
    if (--m_guests == 0) {
        m_guestLeft.notify_all();
    }
    if (entry.due && !IsWatched(*entry.due)) {
        m_wake.notify_one();
    }
}

Scheduler::Entry* Scheduler::Earliest() {
    Entry* earliest = nullptr;
    for (const auto& entry : m_entries) {
        if (!entry->running && entry->due && (!earliest || *entry->due < *earliest->due)) {
            earliest = entry.get();
        }
    }
    return earliest;
}

// One thread alone waits for the time at which something is due, or all of them would wake each time.
void Scheduler::Run() {
    std::unique_lock lock(m_mutex);
    while (!m_stop) {
        Entry* const entry = Earliest();
        if (entry && *entry->due <= m_clock->Now()) {
            // Another thread takes over the wait for what is due next, unless it is hardly worth its waking.
            if (!entry->soonDone) {
                m_wake.notify_one();
            }
            RunTask(*entry, lock);
        } else if (!entry || IsWatched(*entry->due)) {
            m_wake.wait(lock);
        } else {
            const MediaTime due = *entry->due;
            m_watchedUntil = due;
            m_clock->WaitUntil(lock, m_wake, due);
            if (m_watchedUntil == due) {
                m_watchedUntil.reset();
            }
        }
    }
}

void Scheduler::RunTask(Entry& entry, std::unique_lock<std::mutex>& lock) {
    entry.running = true;
    entry.due.reset();
    lock.unlock();
    const auto began = std::chrono::steady_clock::now();
    std::optional<MediaTime> next;
    try {
        next = entry.task();
    } catch (const std::exception&) {
        next = m_clock->Now() + kRetry;
    }
    const bool soon = std::chrono::steady_clock::now() - began < kSoon;
    lock.lock();
    entry.running = false;
    entry.soonDone = soon;
    entry.due = entry.wakeAgain ? std::optional(m_clock->Now()) : next;
    entry.wakeAgain = false;
}

}  // namespace kvrecorder
