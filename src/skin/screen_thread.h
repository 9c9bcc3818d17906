// Shows pictures while the user interface's thread sleeps, which need not wake for them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace kvmon {

class SleepGate;

class ScreenThread {
public:
    enum class Round { Done, Again };
    // `show` runs with the gate borrowed, once for any number of calls of Wake() and not again for 16 ms;
    // Again: it comes again by itself. `busy` is called when the user interface's thread does not sleep, or
    // `show` threw. Both on the thread, which the system may not have had a place for: IsRunning().
    ScreenThread(SleepGate& gate, std::function<Round()> show, std::function<void()> busy);
    ~ScreenThread();
    ScreenThread(const ScreenThread&) = delete;
    ScreenThread& operator=(const ScreenThread&) = delete;

    bool IsRunning() const { return m_thread.joinable(); }
    // Any thread; does not wait.
    void Wake();

private:
    void Run();
    bool WaitForWork(std::unique_lock<std::mutex>& lock);

    SleepGate& m_gate;
    const std::function<Round()> m_show;
    const std::function<void()> m_busy;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_bWanted = false;
    bool m_bIdle = false;  // it waits for Wake() alone
    bool m_bEnd = false;
    std::thread m_thread;
};

}  // namespace kvmon
