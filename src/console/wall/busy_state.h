// The wait for cameras that a change of view needs first, with the wait cursor meanwhile.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace kvmon {

class CBaseCamera;
class ConsoleControls;
class Desk;
class Timers;
class ViewController;

class BusyState {
public:
    BusyState(Desk& desk, Timers& timers, ConsoleControls& controls, ViewController& view)
        : m_desk(desk), m_timers(timers), m_controls(controls), m_view(view) {}

    bool IsBusy() const { return m_bBusy; }
    // The flag and the cursor alone, for a caller that ends the wait by itself.
    void SetBusy(bool bBusy);
    // On: the timer ends it after nElapse milliseconds; a control other than 0 is marked busy meanwhile.
    void SetDlgItemBusyWaitCursor(bool bEnable, int nElapse, int uSetWaitCursorId);
    // Adds a camera whose first picture is awaited.
    void SetWaittingCamera(const std::shared_ptr<CBaseCamera>& camera);
    // Message kMsgFirstData.
    void OnGetDataStream(std::uint32_t uCH);
    // Timer kTimerWaitCursor: the wait ends, whether or not all came.
    void OnWaitEnd();
    // Changes to the style at once, whoever is still awaited. Kept for hosts: nothing in this program calls
    // it.
    void EnableChangeViewPosAfterDataRecieve(int style);

private:
    Desk& m_desk;
    Timers& m_timers;
    ConsoleControls& m_controls;
    ViewController& m_view;
    bool m_bBusy = false;
    int m_nBusyControl = 0;
    std::vector<std::weak_ptr<CBaseCamera>> m_waiting;
};

}  // namespace kvmon
