// Sequential mode: the pages, or the cameras of the single view, follow each other by themselves.
#pragma once

#include <cstdint>

namespace kvmon {

class CMainDlg;

// User interface thread only.
class SequentialMode {
public:
    explicit SequentialMode(CMainDlg& dlg) : m_dlg(dlg) {}

    bool IsOn() const { return m_bOn; }
    // Milliseconds. A running mode takes it up with its next switch.
    std::uint32_t GetInterval() const { return m_dwInterval; }
    void SetInterval(std::uint32_t milliseconds);

    // With bUpdateButton the button 1662 follows.
    void SetSequentialMode(bool on, bool bUpdateButton);
    // Ends the mode when the present style does not rotate; after each change of style.
    void EndIfNotAllowed();

    void OnSwitchTimer();        // 1000
    void OnPrepareTimer();       // 1012
    void OnBtnSequential();      // command 1662
    void OnBtnSequentialPage();  // command 1664: the pages as a menu
    void OpenIntervalDialog();   // command 1663

private:
    void OnIntervalChosen(int seconds);

    CMainDlg& m_dlg;
    bool m_bOn = false;
    std::uint32_t m_dwInterval = 5000;
    std::uint32_t m_dwLead = 0;
};

}  // namespace kvmon
