// The wait for cameras that a change of view needs first, with the wait cursor meanwhile.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace kvmon {

class CBaseCamera;
class CMainDlg;

class BusyState {
public:
    explicit BusyState(CMainDlg& dlg) : m_dlg(dlg) {}

    bool IsBusy() const { return m_bBusy; }
    // The flag alone, for who watches its end by itself.
    void SetBusy(bool bBusy) { m_bBusy = bBusy; }
    // On: timer 1004 ends it after nElapse milliseconds; a control other than 0 is marked busy meanwhile.
    void SetDlgItemBusyWaitCursor(bool bEnable, int nElapse, int uSetWaitCursorId);
    // Adds a camera whose first picture is awaited.
    void SetWaittingCamera(const std::shared_ptr<CBaseCamera>& camera);
    // Message 15791.
    void OnGetDataStream(std::uint32_t uCH);
    // Timer 1004: the wait ends, whether or not all came.
    void OnWaitEnd();
    // Changes to the style without a wait, whoever is still awaited. Nothing asks for it now; kept beside the
    // waits.
    void EnableChangeViewPosAfterDataRecieve(int style);

private:
    CMainDlg& m_dlg;
    bool m_bBusy = false;
    int m_nBusyControl = 0;
    std::vector<std::weak_ptr<CBaseCamera>> m_waiting;
};

}  // namespace kvmon
