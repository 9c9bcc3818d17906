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
    // Not shown yet.
    explicit CFSPanel(QScreen& screen);
    // Tells the target to take the focus back (message kMsgFocusStyleButton).
    ~CFSPanel() override;

    // For an owner that takes the panel away by itself: the target is not told.
    void Dismiss();
    // Where input goes, and the message that a double click or the window manager sends there to have the
    // panel removed. The owner does that.
    void SetTarget(WindowBase& target, std::uint32_t message);
    // Called after each change of the panel's size.
    void SetResized(std::function<void()> resized) { m_resized = std::move(resized); }
    // Covers this screen from now on, also when that changes its size.
    void Cover(QScreen& screen);
    // Null when the display is gone.
    QScreen* Display() const { return m_display; }
    enum class Keyboard { Take, Leave };
    void ShowOnTop(Keyboard keyboard);

protected:
    // WM_LBUTTONDBLCLK counts as a double click.
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
    QMetaObject::Connection m_follows;
    QPointer<WindowBase> m_target;
    WindowHandle m_hTarget;  // not a pointer: the target may be in its destructor when the panel goes
    std::uint32_t m_message = 0;
    std::function<void()> m_resized;
};

}  // namespace kvmon
