// One thread of a channel, with the events and flags that steer it.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "platform/clock.h"
#include "platform/event.h"
#include "platform/retry_pause.h"
#include "platform/worker.h"
#include "server/http/http_tran.h"
#include "server/stop_wait.h"

namespace kvmon {

// What steers one run of a thread. The thread and its starter share it. A thread that is abandoned keeps
// its own, with everything set that tells it to leave, and the next run gets a new one.
struct ThreadControl {
    Event exit;
    Event run;
    FlagWord abort{0};  // leave the present connection or command
    FlagWord reset{0};  // decode thread: begin anew with a closed decoder
    FlagWord leave{0};  // decode thread: leave the present decoder's loop
    std::atomic<bool> abandoned{false};

    // Sets the abort flag and shuts the present connection down. Any thread.
    void Interrupt();
    // After a wait gave `run`: clears the flags of the run before. False if a stop or a pause came
    // meanwhile, whose flags this may have cleared.
    bool BeginPass();

    // Puts a connection in reach of Interrupt for as long as this object lives.
    class Connection {
    public:
        Connection(ThreadControl& control, CHttpTran& tran);
        ~Connection();
        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;

    private:
        ThreadControl& m_control;
    };

private:
    std::mutex m_csTran;
    CHttpTran* m_pTran = nullptr;
};

// Starts and stops one thread. User interface thread only, but for Control.
class ChannelThread {
public:
    // What the thread does, and what it keeps alive meanwhile. To hand it on takes no memory, of which there
    // may be none.
    struct Body {
        std::shared_ptr<void> owner;
        void (*run)(void* owner, ThreadControl& control) = nullptr;
    };

    // How long a stop waits for the thread's end.
    static constexpr Milliseconds kStopWait{3000};

    // The names of the thread and, for the trace, of its stop.
    ChannelThread(const char* lpszName, const char* lpszStopName)
        : m_lpszName(lpszName), m_lpszStopName(lpszStopName) {}

    enum class First { Wait, Run };
    // Stops a thread that is there and starts anew. It runs at once, or waits for its run event.
    void Start(First first, Body body);
    // Now and then: a thread that the system had no place for, or that has ended unasked, is started again, 1
    // s later, from the third time in a row 5 s, from the eighth 15 s. True while one is missing.
    bool Keep(std::uint64_t nowMs);
    // Asks the thread to end, and does not wait.
    void RequestStop();
    // Asks the thread to end. True if none is left. That is always so when the end is waited for, since a
    // thread that does not end in time is abandoned. Else nothing is waited for: a wall of channels that end
    // one after the other must not stop the user interface.
    bool Stop(StopWait wait);
    // It runs, or is to be started again.
    bool IsRunning() const { return m_body.run != nullptr || m_worker.IsRunning(); }
    // What steers the present thread, or the next one. Any thread.
    std::shared_ptr<ThreadControl> Control() const;

private:
    bool StartWorker();

    const char* const m_lpszName;
    const char* const m_lpszStopName;
    Body m_body;  // while the thread is wanted
    RestartPause m_restart;
    unsigned m_nStarts = 0;
    Worker m_worker;
    mutable std::mutex m_csControl;
    std::shared_ptr<ThreadControl> m_control = std::make_shared<ThreadControl>();
};

// True when the run event woke the thread and the pass has begun, false when the thread has to end. The
// number is the channel's in the console, for the trace.
bool WaitForRun(const char* lpszLoop, Clock& clock, const std::atomic<std::uint32_t>& uCHInMainDlg,
                ThreadControl& control);

}  // namespace kvmon
