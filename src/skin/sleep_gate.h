// What belongs to the user interface's thread, lent to another one while that thread sleeps.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace kvmon {

class SleepGate {
public:
    // --- user interface thread
    void Sleep();
    // Waits until what was borrowed is given back, which is for a few requests to the display.
    void Wake();

    // --- one other thread
    // True if the user interface's thread sleeps: it goes on after Return(). False if it did not sleep in
    // that time.
    bool Borrow(std::chrono::milliseconds most);
    void Return();

private:
    void Change(bool& state, bool bNow);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_bAsleep = false;
    bool m_bBorrowed = false;
    int m_nWaiting = 0;
};

}  // namespace kvmon
