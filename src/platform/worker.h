// Threads that can be stopped, or abandoned safely when they do not stop.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/event.h"

namespace kvmon {

// A 32-bit flag word that one thread sets and another polls.
using FlagWord = std::atomic<std::uint32_t>;

// One thread with the verbs start, wait, abandon. How it is asked to stop is the owner's affair
// (an event, a flag, a socket shut down).
//
// The body must own all that it touches, by shared ownership: a thread that does not end in the
// time given is left to itself, and may come back long after its owner is gone.
class Worker {
public:
    Worker() = default;
    Worker(Worker&&) = default;
    Worker& operator=(Worker&&) = delete;
    // A thread still running is abandoned.
    ~Worker();

    // Runs `body` on a new thread. False, with no thread, if one is held already or the system has no more,
    // or no memory for it, which is traced. `name` shows in debuggers, 15 characters of it. A body that
    // throws is traced and over.
    bool Start(const char* name, std::function<void()> body);
    // A thread is held: started, and neither waited for nor abandoned since.
    bool IsHeld() const { return m_state != nullptr; }
    // A thread is held and its body has not returned.
    bool IsRunning() const;
    // Waits for the body's end. True if it has ended, and then the thread is let go of; also true if
    // none is held. From the body itself: false at once.
    bool Wait(Milliseconds timeout);
    // Lets go of a thread that would not end. Counted and reported.
    void Abandon();

    // The end of the program has begun: from now on all waits of all workers together take at most this
    // time, and later ones do not wait. Without a time the limit is lifted. Any thread.
    static void LimitWaits(std::optional<Milliseconds> total);
    // Threads that were abandoned and still run.
    static int AbandonedCount();

private:
    struct State;
    std::shared_ptr<State> m_state;
};

}  // namespace kvmon
