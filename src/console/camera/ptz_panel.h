// The panel's buttons for the active camera: what is shown of them, and what they send.
#pragma once

#include "console/camera/hold_pacing.h"
#include "skin/wheel_notches.h"

namespace kvmon {

class ActiveCamera;
class Clock;
class PanelButtons;
class Timers;

// User interface thread only.
class PtzPanel {
public:
    PtzPanel(PanelButtons& buttons, Timers& timers, const ActiveCamera& active, Clock& clock)
        : m_buttons(buttons), m_timers(timers), m_active(active), m_clock(clock) {}

    // Makes the buttons that repeat tell of their press. Once, when they exist.
    void Init();
    // With command 1757: the active cell's strip shows what its camera can do.
    void Refresh();
    // Message kMsgPtzPress.
    void OnPress(int id, bool bPressed);
    // A click on a control of the head, or its choice from the panel's menu.
    void OnClick(int id);
    // Its choice from a camera's menu: goes to the camera even while the panel steers the picture.
    void OnMenu(int id);
    // Message kMsgEndStop: the camera has answered.
    void OnFinished();
    // Timer kTimerHold.
    void OnHoldTimer();
    // The wheel over the console: `delta` is 120 for a notch away from the user, less from a touchpad, and 0
    // for one that turns sideways. Each whole notch is a command.
    void OnWheel(int delta);

private:
    void Send(int id);
    void ForgetPress() { m_pressSent = 0; }
    bool IsDigitalZoom() const;

    PanelButtons& m_buttons;
    Timers& m_timers;
    const ActiveCamera& m_active;
    Clock& m_clock;
    HoldPacing m_pacing;
    WheelNotches m_wheel;
    int m_pressSent = 0;  // the command that the press has sent: its click sends none
};

}  // namespace kvmon
