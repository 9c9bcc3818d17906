// The mouse pointer over a wall in full screen: it goes when nobody moves it.
#pragma once

#include <QtCore/QObject>

namespace kvmon {

class Timers;

// User interface thread only.
class IdlePointer final : public QObject {
public:
    explicit IdlePointer(Timers& timers) : m_timers(timers) {}
    ~IdlePointer() override { SetOn(false); }

    // Full screen begins or ends.
    void SetOn(bool on);
    // Timer kTimerPointer.
    void OnTimer();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Show();

    Timers& m_timers;
    bool m_bOn = false;
    bool m_bHidden = false;
};

}  // namespace kvmon
