// The end of the program by a signal, within a limit.
#pragma once

#include <QtCore/QObject>
#include <chrono>
#include <functional>
#include <thread>

#include "platform/event.h"

namespace kvmon {

// From construction on, SIGTERM and SIGINT quit the application's event loop. From then on, or from Begin,
// the program has a limit to end by itself, in the order of its destructors; a program that is still there
// when it is over ends at once. One at a time.
class Termination {
public:
    static constexpr std::chrono::milliseconds kLimit{4800};

    Termination();
    // The program got to its end in time.
    ~Termination();
    Termination(const Termination&) = delete;
    Termination& operator=(const Termination&) = delete;

    // The end has begun without a signal.
    void Begin();

private:
    void Run();

    std::thread m_thread;
    Event m_done;
};

}  // namespace kvmon
