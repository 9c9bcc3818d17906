// The owner-drawn button of the skin.
#pragma once

#include <QtGui/QPixmap>
#include <array>
#include <functional>

#include "skin/button_accessible.h"
#include "skin/button_art.h"
#include "skin/window_base.h"

namespace kvmon {

class SkinButtonOwner;

// A push, toggle or radio button that shows one bitmap a state. User interface thread only.
//
// A click (button up over it, Space or Enter, or an assistive tool) is offered to the owning skin dialog's
// OnSkinODButtonNotify and then posted to it as WM_COMMAND with the identifier. The release of a press is
// not reported: who paces a held button reads IsPressed(), which is true from the press to the release even
// while the pointer is elsewhere, and false as soon as the button can no longer see the release.
class CXSkinODButton : public WindowBase, public AccessibleButton {
public:
    // Gives the bitmap of a state in this size and for this scale.
    using BitmapSource = std::function<QPixmap(QSizeF size, double scale, ButtonLook look, bool checked)>;

    CXSkinODButton(int id, ButtonMode mode, QWidget* parent);

    // Replaces all bitmaps. Each is asked for when it is first shown, and again for another size or scale.
    void SetBitmaps(BitmapSource source, bool bRedraw);
    // Also posts nMessage with wParam 1 and lParam the identifier to hTarget at each press.
    void SetPressNotify(bool bEnable, WindowHandle hTarget, std::uint32_t nMessage);

    ButtonMode Mode() const override { return m_state.mode(); }
    bool IsPressed() const override { return m_state.pressed(); }
    int GetCheck() const override { return m_state.checked() ? BST_CHECKED : BST_UNCHECKED; }
    // Sets this button alone, a radio button too, and tells nobody.
    void SetCheck(int check);
    bool IsBusy() const override { return m_state.busy(); }
    // A busy button turns a wait mark and takes no press.
    void SetBusy(bool busy);
    ButtonLook Look() const { return m_state.Look(); }
    // What a click does, without a press before it. Does nothing on a disabled or busy button.
    void Click() override;

    // The text of the control's table row; a fallback for the tool tip and the accessible name.
    const std::string& TipText() const { return m_tipText; }
    void SetTipText(std::string text);

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void OnTimer(std::uint32_t id) override;

private:
    SkinButtonOwner* Owner() const;
    void Press();
    void Release();
    void Cancel();
    void Clicked();
    void UncheckGroup();
    void UpdateWaitMark();
    void ShowTip(const QPoint& screenPosition);
    QSizeF SizeInPixels() const;
    const QPixmap& Bitmap();

    ButtonState m_state;
    BitmapSource m_source;
    std::array<QPixmap, kButtonBitmaps> m_bitmaps;
    QSizeF m_bitmapSize;  // for which the bitmaps were made, with their scale
    double m_bitmapScale = 0;
    WindowHandle m_pressTarget;
    std::uint32_t m_pressMessage = 0;
    bool m_pressNotify = false;
    bool m_keyboardFocus = false;  // the focus came by a key: the ring shows
    int m_waitAngle = 0;
    int m_pressKey = 0;  // the key that holds the button, or 0
    std::string m_tipText;
};

}  // namespace kvmon
