// A try of a recorder's address and login, and the wait for its end.
#pragma once

#include <QtCore/QTimer>
#include <functional>
#include <string>

#include "console/settings/multi_server_list.h"
#include "platform/clock.h"
#include "server/recorder_test.h"
#include "skin/window_base.h"

namespace kvmon {

// User interface thread only.
class RecorderTrial final : public WindowBase {
public:
    RecorderTrial(Milliseconds limit, std::function<void(const RecorderTestReport&)> ended);

    // False when the system has no more threads.
    bool Start(const SavedServer& entry);
    // Its end is not told then.
    void Stop();
    bool IsRunning() const { return m_number != 0; }

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;

private:
    const std::function<void(const RecorderTestReport&)> m_ended;
    QTimer m_limit;
    RecorderTest m_test;
    std::uint32_t m_number = 0;
};

}  // namespace kvmon
