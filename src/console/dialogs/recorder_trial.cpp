#include "console/dialogs/recorder_trial.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kMsgTried = 1100;

}  // namespace

RecorderTrial::RecorderTrial(Milliseconds limit, std::function<void(const RecorderTestReport&)> ended)
    : m_ended(std::move(ended)) {
    m_limit.setSingleShot(true);
    m_limit.setInterval(static_cast<int>(limit.count()));
    connect(&m_limit, &QTimer::timeout, this, [this] {
        Stop();
        m_ended({});
    });
}

bool RecorderTrial::Start(const SavedServer& entry) {
    m_number = m_test.Start(entry.address, entry.port, entry.user, entry.password, Handle(), kMsgTried);
    if (m_number != 0) {
        m_limit.start();
    }
    return m_number != 0;
}

void RecorderTrial::Stop() {
    m_limit.stop();
    m_number = 0;
    m_test.Stop();
}

LParam RecorderTrial::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (message != kMsgTried) {
        return WindowBase::OnMessage(message, wParam, lParam);
    }
    // A try that was stopped may have posted its result already.
    if (m_number != 0 && wParam == m_number) {
        const RecorderTestReport report = m_test.Take();
        m_limit.stop();
        m_number = 0;
        m_ended(report);
    }
    return 0;
}

}  // namespace kvmon
