// "Please wait..." over the middle of the wall.
#pragma once

#include <memory>

class QWidget;

namespace kvmon {

class CWaitDlg;
class ScreenController;

// User interface thread only.
class WaitBox {
public:
    explicit WaitBox(const ScreenController& screens);
    ~WaitBox();

    void Show();
    void Hide();
    bool IsShown() const { return m_dialog != nullptr; }
    // To the middle of where the wall is now, if it is open.
    void Place();
    const QWidget* Widget() const;

private:
    const ScreenController& m_screens;
    std::unique_ptr<CWaitDlg> m_dialog;
};

}  // namespace kvmon
