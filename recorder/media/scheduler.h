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
    ~Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    // A task sleeps until its first Wake. Gives its number. Any thread.
    int Add(Task task);
    // Runs the task as soon as a thread is free, again if it is running now. Any thread.
    void Wake(int task);
    // Runs it on the calling thread, or again where it is running now. Any thread that can spare the time.
    void RunHere(int task);
    // Waits for the pieces under way; no task runs afterwards. Not from a task.
    void Stop();

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
    bool IsWatched(MediaTime due) const { return m_watchedUntil && *m_watchedUntil <= due; }
    Entry* Earliest();

    const std::shared_ptr<MediaClock> m_clock;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<std::unique_ptr<Entry>> m_entries;
    std::optional<MediaTime> m_watchedUntil;  // a thread waits for what is due then
    bool m_stop = false;
    int m_guests = 0;  // threads of others that run a task
    std::condition_variable m_guestLeft;
    std::vector<std::thread> m_threads;
};

}  // namespace kvrecorder
