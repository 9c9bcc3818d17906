#include "console/camera/kept_picture.h"

#include "channel/camera/base_camera.h"

namespace kvmon {

namespace {

// From the thread that shows pictures: wParam the wait.
constexpr std::uint32_t kMsgShown = 11500;
constexpr std::uint32_t kTimerTooLate = 1;

}  // namespace

void KeptPicture::WaitFor(CBaseCamera& camera) {
    ++m_nWait;
    SetTimer(kTimerTooLate, kMostWaitMs);
    camera.WhenShown([window = Handle(), wait = m_nWait] { window.Post(kMsgShown, wait, 0); });
}

void KeptPicture::OnTimer(std::uint32_t id) {
    KillTimer(id);
    ++m_nWait;
    m_ended(false);
}

LParam KeptPicture::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (message != kMsgShown) {
        return WindowBase::OnMessage(message, wParam, lParam);
    }
    if (wParam == m_nWait && IsTimerSet(kTimerTooLate)) {
        KillTimer(kTimerTooLate);
        m_ended(true);
    }
    return 0;
}

}  // namespace kvmon
