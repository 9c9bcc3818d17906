#include "media/scheduler.h"

namespace kvrecorder {

Scheduler::Scheduler(std::shared_ptr<MediaClock> clock, int threads) : clock_(std::move(clock)) {
    for (int i = 0; i < threads; ++i) {
        threads_.emplace_back([this] { Run(); });
    }
}

Scheduler::~Scheduler() {
    {
        const std::lock_guard lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_) {
        thread.join();
    }
}

int Scheduler::Add(Task task) {
    const std::lock_guard lock(mutex_);
    entries_.push_back(std::make_unique<Entry>());
    entries_.back()->task = std::move(task);
    return static_cast<int>(entries_.size()) - 1;
}

void Scheduler::Wake(int task) {
    {
        const std::lock_guard lock(mutex_);
        Entry& entry = *entries_[static_cast<std::size_t>(task)];
        if (entry.running) {
            entry.wakeAgain = true;
        } else {
            entry.due = clock_->Now();
        }
    }
    wake_.notify_one();
}

Scheduler::Entry* Scheduler::Earliest() {
    Entry* earliest = nullptr;
    for (const auto& entry : entries_) {
        if (!entry->running && entry->due && (!earliest || *entry->due < *earliest->due)) {
            earliest = entry.get();
        }
    }
    return earliest;
}

void Scheduler::Run() {
    std::unique_lock lock(mutex_);
    while (!stop_) {
        Entry* const entry = Earliest();
        if (!entry) {
            wake_.wait(lock);
            continue;
        }
        if (*entry->due > clock_->Now()) {
            clock_->WaitUntil(lock, wake_, *entry->due);
            continue;
        }
        entry->running = true;
        entry->due.reset();
        // Another thread takes over the wait for what is due next.
        wake_.notify_one();
        lock.unlock();
        const std::optional<MediaTime> next = entry->task();
        lock.lock();
        entry->running = false;
        entry->due = entry->wakeAgain ? std::optional(clock_->Now()) : next;
        entry->wakeAgain = false;
    }
}

}  // namespace kvrecorder
