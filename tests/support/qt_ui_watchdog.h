// How long the user interface's thread was kept from its event loop.
#pragma once

#include <sys/resource.h>

#include <QtWidgets/QApplication>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>

#include "platform/sanitized.h"

namespace kvtest {

// Times the handling of every event, with all that it leads to. The time in which the system gave the
// processor to others or read a page from disk counts for nothing, and what the thread worked is told apart
// from what it waited, so that a loaded machine does not look like a program that blocks.
class WatchedApplication final : public QApplication {
public:
    WatchedApplication(int& argc, char** argv) : QApplication(argc, argv) {}
    static WatchedApplication& Instance() { return *static_cast<WatchedApplication*>(qApp); }

    void ForgetLongest() { m_wait = m_work = {}; }
    // The longest since then, in milliseconds, and the event.
    double LongestWaitMs() const { return m_wait.ms; }
    double LongestWorkMs() const { return m_work.ms; }
    const std::string& LongestWait() const { return m_wait.event; }
    const std::string& LongestWork() const { return m_work.event; }

    // As the program's own application does.
    void SurviveShortage(bool bSurvive) { m_bSurvive = bSurvive; }
    bool IsHandling() const { return m_depth > 0; }

    bool notify(QObject* receiver, QEvent* event) override {
        if (m_depth > 0) {
            return Deliver(receiver, event);
        }
        // Asked for first: the receiver may be gone in the end.
        const std::string what = receiver->objectName().toStdString() + " (" +
                                 receiver->metaObject()->className() + ") event " +
                                 std::to_string(event->type());
        const Times begin = Now();
        ++m_depth;
        const bool result = Deliver(receiver, event);
        --m_depth;
        const Times end = Now();
        const double work = end.workMs - begin.workMs;
        m_work.Note(work, what);
        if (end.faults == begin.faults) {
            m_wait.Note(end.wallMs - begin.wallMs - work - (end.readyMs - begin.readyMs), what);
        }
        return result;
    }

private:
    struct Times {
        double wallMs = 0, workMs = 0, readyMs = 0;
        long faults = 0;
    };
    struct Longest {
        double ms = 0;
        std::string event;
        void Note(double time, const std::string& what) {
            if (time > ms) {
                ms = time;
                event = what;
            }
        }
    };

    bool Deliver(QObject* receiver, QEvent* event) {
        if (!m_bSurvive) {
            return QApplication::notify(receiver, event);
        }
        try {
            return QApplication::notify(receiver, event);
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    static Times Now() {
        Times times;
        unsigned long long ran = 0;
        unsigned long long ready = 0;
        if (std::FILE* const file = std::fopen("/proc/thread-self/schedstat", "r")) {
            if (std::fscanf(file, "%llu %llu", &ran, &ready) == 2) {
                times.workMs = static_cast<double>(ran) / 1e6;
                times.readyMs = static_cast<double>(ready) / 1e6;
            }
            std::fclose(file);
        }
        rusage usage{};
        getrusage(RUSAGE_THREAD, &usage);
        times.faults = usage.ru_majflt;
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        times.wallMs = std::chrono::duration<double, std::milli>(now).count();
        return times;
    }

    int m_depth = 0;
    bool m_bSurvive = false;
    Longest m_wait, m_work;
};

// The aim is 50 ms, which a user does not notice. What is refused here is a wait for a socket, a disk or
// another thread's work, which lasts longer: on a machine that is shared a lock's holder loses its processor
// for that long, and the limit grows with the load.
inline double UiWaitLimitMs() {
    constexpr double kLimitMs = 300;
    double load = 0;
    getloadavg(&load, 1);
    return kLimitMs * std::max(1.0, load / std::max(1u, std::thread::hardware_concurrency()));
}
// Leaves room for a slow machine, and for the sanitizers.
#if defined(KV_SANITIZED_ADDRESS) || defined(KV_SANITIZED_THREAD)
inline constexpr double kUiWorkLimitMs = 3000;
#else
inline constexpr double kUiWorkLimitMs = 300;
#endif

}  // namespace kvtest
