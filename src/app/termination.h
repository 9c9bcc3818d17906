// The end of the program by a signal, within a limit.
#pragma once

#include <QtCore/QObject>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "platform/event.h"

namespace kvmon {

// From construction on, SIGTERM and SIGINT quit the application's event loop. From then on, or from Begin,
// the program ends in the order of its destructors, in which all waits for threads together take at most
// kWaits. Should it hang elsewhere, it ends at once when kLimit is over. One at a time.
class Termination {
public:
    static constexpr std::chrono::milliseconds kWaits{3000};
    // What is left to write is written by then; less than a web host waits for its sessions.
    static constexpr std::chrono::milliseconds kSaved{4100};
    static constexpr std::chrono::milliseconds kLimit{4800};

    Termination();
    // The program got to its end in time.
    ~Termination();
    Termination(const Termination&) = delete;
    Termination& operator=(const Termination&) = delete;

    // The end has begun, by a signal or without one.
    void Begin();
    // How long what is still to be written may take now.
    std::chrono::milliseconds TimeToSave() const;

private:
    void Run();
    void NoteBegin();

    std::thread m_thread;
    Event m_done;
    std::atomic<std::chrono::steady_clock::rep> m_began{0};  // 0: not yet
};

}  // namespace kvmon
