#include "skin/screen_thread.h"

#include <pthread.h>

#include <utility>

#include "platform/caught.h"
#include "skin/sleep_gate.h"

namespace kvmon {

namespace {

// A screen shows no more.
constexpr std::chrono::milliseconds kPeriod{16};
// A user interface's thread that is at work for longer shows the pictures itself when it comes to it.
constexpr std::chrono::milliseconds kBusy{8};

}  // namespace

ScreenThread::ScreenThread(SleepGate& gate, std::function<Round()> show, std::function<void()> busy)
    : m_gate(gate), m_show(std::move(show)), m_busy(std::move(busy)) {
    TryStep("ScreenThread", [this] { m_thread = std::thread([this] { Run(); }); });
}

ScreenThread::~ScreenThread() {
    {
        const std::lock_guard lock(m_mutex);
        m_bEnd = true;
    }
    m_changed.notify_all();
    if (m_thread.joinable()) {
        m_thread.join();  // at once: it waits for nothing but the gate, and not for long
    }
}

void ScreenThread::Wake() {
    bool bIdle = false;
    {
        const std::lock_guard lock(m_mutex);
        m_bWanted = true;
        bIdle = m_bIdle;
    }
    if (bIdle) {
        m_changed.notify_one();
    }
}

bool ScreenThread::WaitForWork(std::unique_lock<std::mutex>& lock) {
    m_bIdle = true;
    m_changed.wait(lock, [this] { return m_bWanted || m_bEnd; });
    m_bIdle = false;
    m_bWanted = false;
    return !m_bEnd;
}

void ScreenThread::Run() {
    ::pthread_setname_np(::pthread_self(), "screen");
    std::unique_lock lock(m_mutex);
    while (WaitForWork(lock)) {
        lock.unlock();
        auto round = Round::Done;
        bool bShown = false;
        if (m_gate.Borrow(kBusy)) {
            bShown = TryStep("ScreenThread::m_show", [&] { round = m_show(); });
            m_gate.Return();
        }
        if (!bShown && !TryStep("ScreenThread::m_busy", m_busy)) {
            round = Round::Again;
        }
        lock.lock();
        m_bWanted = m_bWanted || round == Round::Again;
        // What comes meanwhile is shown together then; nobody has to wake this thread for it.
        m_changed.wait_for(lock, kPeriod, [this] { return m_bEnd; });
    }
}

}  // namespace kvmon
