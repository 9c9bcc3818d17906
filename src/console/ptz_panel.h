// The panel's buttons for the active camera: what is shown of them, and what they send.
#pragma once

#include "console/hold_pacing.h"
#include "platform/clock.h"

namespace kvmon {

class CMainDlg;
class CVideoWnd;

// User interface thread only.
class PtzPanel {
public:
    explicit PtzPanel(CMainDlg& dlg, Clock& clock = SystemClock()) : m_dlg(dlg), m_clock(clock) {}

    // Makes the buttons that repeat tell of their press. Once, when they exist.
    void Init();
    // With command 1757: the active cell's strip shows what its camera can do.
    void Refresh();
    // Message 2058.
    void OnPress(int id, bool bPressed);
    // A click on one of 1800 to 1820, or its choice from a menu.
    void OnClick(int id);
    // A menu opens: what is chosen from it is no end of a press.
    void ForgetPress() { m_pressSent = 0; }
    // Message 11411.
    void OnFinished();
    // Timer 1002.
    void OnHoldTimer();
    // The wheel over the console; `delta` as the message tells it.
    void OnWheel(int delta);

private:
    void Send(int id);
    bool IsDown(int id) const;
    bool IsDigitalZoom() const;

    CMainDlg& m_dlg;
    Clock& m_clock;
    HoldPacing m_pacing;
    int m_pressSent = 0;  // its click was served by the press
};

}  // namespace kvmon
