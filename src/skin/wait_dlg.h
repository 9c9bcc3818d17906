// "Please wait..."
#pragma once

#include <functional>

#include "skin/skin_messages.h"
#include "skin/window_base.h"

class QLabel;
class QPushButton;

namespace kvmon {

class CPictureEx;

// An animated picture, a text and a button that gives up. It never blocks: Open returns at once, and the end
// is told by a call. User interface thread only, but for kMsgCloseWait posted to its Handle(), whose wParam
// is the result.
class CWaitDlg : public WindowBase {
public:
    enum class Place {
        Above,   // a window of its own above the parent's, with the button
        Inside,  // a part of the parent, over its middle, without the button: there is nothing to give up
    };

    enum class Input { Free, Blocked };  // that of the parent's window, meanwhile

    explicit CWaitDlg(QWidget* parent, Place place = Place::Above);

    // UTF-8, shown as it is.
    void SetText(const std::string& text);
    void SetCloseText(const std::string& text);
    // Called once for each Open, with IDCANCEL when the user gave up, else with the result of Close.
    void SetClosed(std::function<void(int result)> closed) { m_closed = std::move(closed); }

    // Shows it in the middle of its parent. An open one stays.
    void Open(Input input);
    void Close(int result);
    bool IsOpen() const { return m_open; }
    // Moves back to the middle of the parent, whose size has changed.
    void Centre();

protected:
    void paintEvent(QPaintEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;

private:
    const Place m_place;
    CPictureEx* m_picture;
    QLabel* m_text;
    QPushButton* m_close;
    std::function<void(int)> m_closed;
    bool m_open = false;
};

}  // namespace kvmon
