// Tells when the user interface's thread sleeps.
#pragma once

namespace kvmon {

class SleepGate;

// The thread that makes this sleeps behind the gate from now on whenever its event loop waits, nested loops
// included. Where the loop is not GLib's, it never does. One object at a time, and it ends on the same
// thread.
class MainLoopSleep {
public:
    explicit MainLoopSleep(SleepGate& gate);
    ~MainLoopSleep();
    MainLoopSleep(const MainLoopSleep&) = delete;
    MainLoopSleep& operator=(const MainLoopSleep&) = delete;

    // The loop is GLib's.
    bool IsOn() const;
};

}  // namespace kvmon
