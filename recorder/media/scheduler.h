// Runs the channels' work when it is due, on a few threads for all of them.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "media/media_clock.h"

namespace kvrecorder {

class Scheduler {
public:
    // One piece of a task's work; gives the time of the next one, or nothing to sleep until Wake. A task
    // never runs on two threads at once. One that throws, as where memory is short, is tried again later.
    using Task = std::function<std::optional<MediaTime>()>;

    // Makes do with fewer threads than told, down to one.
    Scheduler(std::shared_ptr<MediaClock> clock, int threads);
    // Waits for the pieces under way; no task runs afterwards.
    ~Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    // A task sleeps until its first Wake. Gives its number. Any thread.
    int Add(Task task);
    // Runs the task as soon as a thread is free, again if it is running now. Any thread.
    void Wake(int task);

private:
    struct Entry {
        Task task;
        std::optional<MediaTime> due;
        bool running = false;
        bool wakeAgain = false;
        bool soonDone = false;  // was so the last time
    };

    void Run();
    void RunTask(Entry& entry, std::unique_lock<std::mutex>& lock);
    Entry* Earliest();

    const std::shared_ptr<MediaClock> m_clock;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<std::unique_ptr<Entry>> m_entries;
    bool m_watched = false;  // a thread waits for the earliest
    bool m_stop = false;
    std::vector<std::thread> m_threads;
};

}  // namespace kvrecorder
