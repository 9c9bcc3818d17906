// A try of a recorder's address and account, for a user who enters them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/clock.h"
#include "platform/window_handle.h"
#include "platform/worker.h"

namespace kvmon {

enum class RecorderTestResult : std::uint8_t {
    Works,
    NoSuchHost,
    Unreachable,
    Refused,  // the computer is there, nothing listens at the port
    WrongPassword,
    NotARecorder,
    TimedOut,
};

struct RecorderTestReport {
    RecorderTestResult result = RecorderTestResult::TimedOut;
    // Told by a recorder that works.
    std::string name;
    int channels = 0;
};

// One try at a time, on a thread of its own. The destructor stops it. Used from one thread. The clock must
// outlive the thread, also an abandoned one.
class RecorderTest {
public:
    explicit RecorderTest(Clock& clock = SystemClock()) : m_clock(clock) {}
    ~RecorderTest() { Stop(); }
    RecorderTest(const RecorderTest&) = delete;
    RecorderTest& operator=(const RecorderTest&) = delete;

    // Begins a try, after the end of one under way. When it is over, `message` is posted to the receiver with
    // the try's number as wParam; one that was stopped posts nothing. Gives the number; 0 when the system has
    // no more threads.
    std::uint32_t Start(const std::string& host, std::uint32_t nPort, const std::string& user,
                        const std::string& password, WindowHandle receiver, std::uint32_t message);
    // Never waits: a thread that does not end at once is left to itself.
    void Stop();
    bool IsRunning() const { return m_try != nullptr; }
    // What a posted try found; the try is then over.
    RecorderTestReport Take();

private:
    struct Try;

    Clock& m_clock;
    std::shared_ptr<Try> m_try;
    Worker m_thread;
    std::uint32_t m_nNumber = 0;
};

}  // namespace kvmon
