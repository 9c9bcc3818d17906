// The recorder's site map in a window.
#pragma once

#include "console/site/emap_fetch.h"
#include "skin/window_base.h"

class QLabel;

namespace kvmon {

inline constexpr int kEMapDialog = 1000;
inline constexpr int kEMapWindow = 1001;

// Modal to its owner's window, and blocks nothing. Deletes itself when it is closed and its thread has ended.
// User interface thread only.
class CEMapDlg : public WindowBase {
public:
    CEMapDlg(QWidget* owner, const EMapSource& source, Clock& clock = SystemClock());
    ~CEMapDlg() override;

    // Begins to fetch, with the wait cursor. A failure shows a box and ends the window.
    void Open();
    // The picture is on show.
    bool IsShown() const { return m_bShown; }

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;
    void OnTimer(std::uint32_t id) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void OnReply(EMapStatus status);
    void ShowPicture();
    void End();

    const EMapSource m_source;
    Clock& m_clock;
    QLabel* m_picture;
    std::unique_ptr<EMapFetch> m_fetch;
    bool m_bReplied = false;
    bool m_bShown = false;
    bool m_bOver = false;
};

}  // namespace kvmon
