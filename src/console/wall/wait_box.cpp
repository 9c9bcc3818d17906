#include "console/wall/wait_box.h"

#include "console/wall/screen_controller.h"
#include "persist/string_table.h"
#include "skin/wait_dlg.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrWait = 1108;

}  // namespace

WaitBox::WaitBox(const ScreenController& screens) : m_screens(screens) {}

WaitBox::~WaitBox() = default;

void WaitBox::Show() {
    if (!m_dialog) {
        m_dialog = std::make_unique<CWaitDlg>(m_screens.Wall(), CWaitDlg::Place::Inside);
        m_dialog->setObjectName(QStringLiteral("waitDialog"));
        m_dialog->SetText(LoadString(kStrWait));
    }
    m_dialog->Open(CWaitDlg::Input::Free);
}

void WaitBox::Hide() {
    m_dialog.reset();
}

void WaitBox::Place() {
    if (!m_dialog) {
        return;
    }
    QWidget* const wall = m_screens.Wall();
    if (m_dialog->parentWidget() != wall) {
        m_dialog->setParent(wall);
        m_dialog->show();
    }
    m_dialog->Centre();
    m_dialog->raise();
}

const QWidget* WaitBox::Widget() const {
    return m_dialog.get();
}

}  // namespace kvmon
