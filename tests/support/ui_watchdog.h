// How long the user interface's thread was away from its event loop.
#pragma once

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QObject>
#include <chrono>
#include <ctime>

namespace kvtest {

// Measures each stretch between the loop's waking and its next wait, from construction on. The thread's own
// time leaves out what a busy machine takes away; the clock's time tells of locks and disks, too.
class UiWatchdog {
public:
    UiWatchdog() {
        auto* const dispatcher = QAbstractEventDispatcher::instance();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, &m_life, [this] { Begin(); });
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &m_life, [this] { End(); });
        Begin();
    }

    std::chrono::milliseconds LongestWork() const { return Rounded(m_work); }
    std::chrono::milliseconds LongestAway() const { return Rounded(m_away); }

private:
    using Time = std::chrono::nanoseconds;

    static Time Read(clockid_t clock) {
        timespec time{};
        ::clock_gettime(clock, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }
    static std::chrono::milliseconds Rounded(Time time) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(time);
    }
    void Begin() {
        m_workStart = Read(CLOCK_THREAD_CPUTIME_ID);
        m_awayStart = Read(CLOCK_MONOTONIC);
    }
    void End() {
        m_work = std::max(m_work, Read(CLOCK_THREAD_CPUTIME_ID) - m_workStart);
        m_away = std::max(m_away, Read(CLOCK_MONOTONIC) - m_awayStart);
    }

    Time m_workStart{}, m_awayStart{}, m_work{}, m_away{};
    QObject m_life;
};

}  // namespace kvtest
