// A window that covers one display and holds video windows.
#pragma once

#include <QtCore/QPointer>
#include <QtGui/QScreen>
#include <functional>

#include "skin/window_base.h"

namespace kvmon {

// Without a frame, on top of all else. Mouse wheel and keys go to the target, as if pressed there. User
// interface thread only.
class CFSPanel : public WindowBase {
public:
    // Covers the screen, also when that changes its size. Not shown yet.
    explicit CFSPanel(QScreen& screen);
    // Tells the target to take the focus back (message 2059).
    ~CFSPanel() override;

    // The owner takes the panel away by itself: the target is not asked.
    void Dismiss();
    // Where input goes, and what is sent there when a double click (or the window manager) wants the panel
    // gone. Removing it then is the owner's part.
    void SetTarget(WindowBase& target, std::uint32_t message);
    // Called after each change of the panel's size.
    void SetResized(std::function<void()> resized) { m_resized = std::move(resized); }
    // Null when the display is gone.
    QScreen* Display() const { return m_display; }
    void ShowOnTop(bool bTakeFocus);

protected:
    // Message 515 as well as a double click.
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;
    bool event(QEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void OnLButtonDblClk(unsigned nFlags);
    void Forward(QEvent* event);

    QPointer<QScreen> m_display;
    QPointer<WindowBase> m_target;
    WindowHandle m_hTarget;  // the panel may go in the middle of the target's own end
    std::uint32_t m_message = 0;
    bool m_bClosing = false;
    std::function<void()> m_resized;
};

}  // namespace kvmon
