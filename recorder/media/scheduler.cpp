#include "media/scheduler.h"

namespace kvrecorder {

Scheduler::Scheduler(std::shared_ptr<MediaClock> clock, int threads) : m_clock(std::move(clock)) {
    for (int i = 0; i < threads; ++i) {
        m_threads.emplace_back([this] { Run(); });
    }
}

Scheduler::~Scheduler() {
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
}

int Scheduler::Add(Task task) {
    const std::lock_guard lock(m_mutex);
    m_entries.push_back(std::make_unique<Entry>());
    m_entries.back()->task = std::move(task);
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

Scheduler::Entry* Scheduler::Earliest() {
    Entry* earliest = nullptr;
    for (const auto& entry : m_entries) {
        if (!entry->running && entry->due && (!earliest || *entry->due < *earliest->due)) {
            earliest = entry.get();
        }
    }
    return earliest;
}

void Scheduler::Run() {
    std::unique_lock lock(m_mutex);
    while (!m_stop) {
        Entry* const entry = Earliest();
        if (!entry) {
            m_wake.wait(lock);
            continue;
        }
        if (*entry->due > m_clock->Now()) {
            m_clock->WaitUntil(lock, m_wake, *entry->due);
            continue;
        }
        entry->running = true;
        entry->due.reset();
        // Another thread takes over the wait for what is due next.
        m_wake.notify_one();
        lock.unlock();
        const std::optional<MediaTime> next = entry->task();
        lock.lock();
        entry->running = false;
        entry->due = entry->wakeAgain ? std::optional(m_clock->Now()) : next;
        entry->wakeAgain = false;
    }
}

}  // namespace kvrecorder
