#include "channel/base/channel_thread.h"

#include <new>
#include <utility>

#include "persist/log_file.h"
#include "platform/caught.h"

namespace kvmon {

void ThreadControl::Interrupt() {
    abort = 1;
    const std::lock_guard lock(m_csTran);
    if (m_pTran != nullptr) {
        m_pTran->Shutdown();
    }
}

bool ThreadControl::BeginPass() {
    abort = 0;
    reset = 0;
    leave = 0;
    // A stop sets its event, and a pause resets it, before the flags: whoever's flags went above is seen
    // here.
    return !exit.IsSet() && run.IsSet();
}

ThreadControl::Connection::Connection(ThreadControl& control, CHttpTran& tran) : m_control(control) {
    const std::lock_guard lock(m_control.m_csTran);
    m_control.m_pTran = &tran;
}

ThreadControl::Connection::~Connection() {
    const std::lock_guard lock(m_control.m_csTran);
    m_control.m_pTran = nullptr;
}

void ChannelThread::Start(First first, Body body) {
    Stop(StopWait::ToTheEnd);
    const auto control = Control();
    control->exit.Reset();
    if (first == First::Run) {
        control->run.Set();
    } else {
        control->run.Reset();
    }
    control->abort = 0;
    control->reset = 0;
    control->leave = 0;
    ++m_nStarts;
    m_body = std::move(body);
    StartWorker();
}

bool ChannelThread::StartWorker() {
    try {
        return m_worker.Start(m_lpszName,
                              [body = m_body, control = Control()] { body.run(body.owner.get(), *control); });
    } catch (const std::bad_alloc&) {
        TraceCaught(m_lpszName);
        return false;
    }
}

bool ChannelThread::Keep(std::uint64_t nowMs) {
    const bool bMissing = m_body.run != nullptr && !m_worker.IsRunning();
    if (!m_restart.IsDue(bMissing, nowMs)) {
        return bMissing;
    }
    // It takes up what its events say by now.
    return !m_worker.Wait(Milliseconds(0)) || !StartWorker();
}

void ChannelThread::RequestStop() {
    m_body = {};
    if (!m_worker.IsHeld()) {
        return;
    }
    const auto control = Control();
    control->exit.Set();
    control->reset = 1;
    control->leave = 1;
    control->Interrupt();
}

bool ChannelThread::Stop(StopWait wait) {
    m_body = {};
    if (!m_worker.IsHeld()) {
        return true;
    }
    RequestStop();
    const bool bToTheEnd = wait == StopWait::ToTheEnd;
    if (m_worker.Wait(bToTheEnd ? kStopWait : Milliseconds(0))) {
        return true;
    }
    if (!bToTheEnd) {
        return false;
    }
    Trace("CBaseCamera::%s: TerminateThread(0x%x, -1)...\n", m_lpszStopName, m_nStarts);
    Control()->abandoned = true;
    m_worker.Abandon();
    const std::lock_guard lock(m_csControl);
    m_control = std::make_shared<ThreadControl>();
    return true;
}

std::shared_ptr<ThreadControl> ChannelThread::Control() const {
    const std::lock_guard lock(m_csControl);
    return m_control;
}

bool WaitForRun(const char* lpszLoop, Clock& clock, const std::atomic<std::uint32_t>& uCHInMainDlg,
                ThreadControl& control) {
    Event* const events[] = {&control.exit, &control.run};
    for (;;) {
        switch (clock.WaitAny(events, std::nullopt)) {
            case 0:
                Trace("CBaseCamera::%s: m_uCHInMainDlg=%u, exit....\n", lpszLoop, uCHInMainDlg.load());
                return false;
            case 1:
                if (control.BeginPass()) {
                    return true;
                }
                break;
            default:
                break;
        }
    }
}

}  // namespace kvmon
