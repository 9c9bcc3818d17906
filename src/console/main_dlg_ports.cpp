// What the console's subjects ask of its window.
#include <QtGui/QCursor>
#include <algorithm>
#include <iterator>

#include "channel/base/channel_messages.h"
#include "channel/cell/video_wnd.h"
#include "console/console_parts.h"
#include "console/console_tables.h"
#include "console/dialogs/message_box.h"
#include "console/main_dlg.h"
#include "console/ports/client_site.h"
#include "console/ports/console_messages.h"
#include "persist/string_table.h"
#include "server/server_messages.h"
#include "skin/background.h"
#include "skin/input_messages.h"
#include "skin/xskin_od_button.h"
#include "skin/xskin_static.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrLogIn = 4002;
constexpr std::uint32_t kStrLogOut = 4003;
constexpr std::uint32_t kStrQuit = 7200;
constexpr std::uint32_t kStrWalls = 7657;

}  // namespace

// --- Desk

QWidget* CMainDlg::DialogHost() const {
    return m_parts->screens.DialogHost();
}

QWidget* CMainDlg::HostOf(const QWidget& cell) const {
    return m_parts->screens.HostOf(cell);
}

void CMainDlg::BringHere(QWidget& dialog) {
    m_parts->screens.BringHere(dialog);
}

void CMainDlg::MakeRoom() {
    if (!IsLocked()) {
        m_parts->screens.LeaveFullScreen();
    }
}

QDialog* CMainDlg::ShowMessage(const std::string& text, const std::string& title) {
    return OpenMessageBox(DialogHost(), text, title);
}

void CMainDlg::ShowWait() {
    m_parts->wait.Show();
}

void CMainDlg::HideWait() {
    m_parts->wait.Hide();
}

bool CMainDlg::IsWaitShown() const {
    return m_parts->wait.IsShown();
}

void CMainDlg::RefreshCursor() {
    setCursor(m_parts->busy.IsBusy() ? Qt::WaitCursor : Qt::ArrowCursor);
}

bool CMainDlg::IsLoggedIn() const {
    return m_parts->session.IsLoggedIn();
}

bool CMainDlg::IsLocked() const {
    return m_parts->lock.IsLocked();
}

// --- Commands

void CMainDlg::Press(int id) {
    ConsoleControls& controls = m_parts->controls;
    if (!controls.Get(id).enabled) {
        return;
    }
    controls.SetPressed(id, !controls.IsPressed(id));
    PostMessage(WM_COMMAND, static_cast<WParam>(id), 0);
}

void CMainDlg::PressMenuEntry(int id) {
    if (id >= kCtlFirstPtz && id <= kCtlLastPtz) {
        m_parts->ptz.OnMenu(id);
        return;
    }
    Press(id);
}

void CMainDlg::Run(int id) {
    if (!m_bClosing) {
        RunCommand(*m_parts, id);
    }
}

void CMainDlg::Hold(int id) {
    SendMessage(kMsgPtzPress, 1, id);
}

void CMainDlg::Release(int id) {
    SendMessage(kMsgPtzPress, 0, id);
}

void CMainDlg::RefreshControls() {
    PostMessage(WM_COMMAND, kCmdRefreshControls, 0);
}

void CMainDlg::AskFor(std::uint32_t code, int server) {
    PostMessage(WM_UPDATEVSINFO, code, server);
}

// --- PanelButtons

QRect CMainDlg::Place(int id) const {
    const QWidget* const button = GetButton(id);
    return button != nullptr && button->isVisible() ? QRect(button->mapToGlobal(QPoint(0, 0)), button->size())
                                                    : QRect();
}

bool CMainDlg::IsHeld(int id) const {
    const CXSkinODButton* const button = GetButton(id);
    return (button != nullptr && button->IsPressed()) || m_parts->keys.IsHeld(id);
}

QString CMainDlg::TipText(int id) const {
    if (id == kKeyQuit) {
        return m_site.CanQuit() ? QString::fromStdString(LoadString(kStrQuit)) : QString();
    }
    if (id == kKeyWalls) {
        return m_site.HasWalls() ? QString::fromStdString(LoadString(kStrWalls)) : QString();
    }
    const CXSkinODButton* const button = GetButton(id);
    return button != nullptr ? QString::fromStdString(button->TipText()) : QString();
}

void CMainDlg::TellPresses(std::span<const int> ids) {
    for (const int id : ids) {
        if (CXSkinODButton* const button = GetButton(id)) {
            button->SetPressNotify(true, Handle(), kMsgPtzPress);
        }
    }
}

void CMainDlg::FocusStyle() {
    QWidget* const button = GetButton(StyleButtonId(m_parts->view.CheckedStyle()));
    (button != nullptr ? button : this)->setFocus();
}

void CMainDlg::ShowLock() {
    if (IsLocked() != m_bShownLocked) {
        EnableChildren(IsLoggedIn());
    }
}

void CMainDlg::OrderTabs(const std::vector<QWidget*>& wall) {
    const int wallTop = SkinViewRect(size()).top();
    std::vector<QWidget*> order = ControlsByPlace();
    const auto panel = std::find_if(order.begin(), order.end(), [wallTop](const QWidget* control) {
        return control->geometry().bottom() >= wallTop;
    });
    order.insert(panel, wall.begin(), wall.end());
    // The toolkit orders only what can have the focus now.
    std::vector<QWidget*> without;
    std::copy_if(order.begin(), order.end(), std::back_inserter(without),
                 [](const QWidget* widget) { return widget->focusPolicy() == Qt::NoFocus; });
    for (QWidget* const widget : without) {
        widget->setFocusPolicy(Qt::TabFocus);
    }
    for (std::size_t i = 1; i < order.size(); ++i) {
        setTabOrder(order[i - 1], order[i]);
    }
    for (QWidget* const widget : without) {
        widget->setFocusPolicy(Qt::NoFocus);
    }
}

// --- SessionEvents

void CMainDlg::OnFirstAnswer() {
    m_parts->LoadSettings();
}

// The panel of a locked wall lies behind it, and is not for assistive tools either.
void CMainDlg::EnableChildren(bool bOn) {
    m_bShownLocked = IsLocked();
    for (QObject* const child : children()) {
        auto* const widget = qobject_cast<QWidget*>(child);
        if (widget != nullptr && !widget->isWindow() && widget != m_parts->wait.Widget() &&
            widget != &m_parts->status && widget != m_parts->session.SignIn().Card()) {
            const bool bCell = dynamic_cast<const CVideoWnd*>(widget) != nullptr;
            widget->setEnabled(bOn && (bCell || !m_bShownLocked));
        }
    }
    for (const auto table : {ControlTable(), ToolTable()}) {
        for (const SkinControlRow& row : table) {
            m_parts->controls.SetEnabled(row.id, bOn || row.id == kCtlLogout);
        }
    }
}

void CMainDlg::OnLoginChanged() {
    const bool bLoggedIn = IsLoggedIn();
    if (!bLoggedIn && (m_parts->sequential.IsOn() || m_parts->controls.IsPressed(kCtlSequential))) {
        m_parts->sequential.SetSequentialMode(false);
    }
    if (!m_parts->session.SignIn().IsDemo()) {
        m_parts->lock.NoteLogin();
    }
    EnableChildren(bLoggedIn);
    m_parts->drawer.Update();
    m_parts->session.SignIn().Update();
    m_parts->status.OnTick();
    m_parts->views.OnLoginChanged();
    m_parts->title.Update();
    m_parts->controls.SetPressed(kCtlLogout, bLoggedIn);
    if (CXSkinODButton* const logout = GetButton(kCtlLogout)) {
        logout->setEnabled(!m_bShownLocked);
        logout->SetTipText(LoadString(bLoggedIn ? kStrLogOut : kStrLogIn));
    }
}

void CMainDlg::OnRefused() {
    m_parts->session.SignIn().OnRefused();
    m_parts->session.OnBtnLogout();
}

void CMainDlg::OnSessionEnds() {
    m_parts->CloseSubjects();
}

void CMainDlg::OnSessionOver() {
    m_parts->OnWallChanged();
}

void CMainDlg::SetStaticText(int id, const std::string& text) {
    if (auto* const control = dynamic_cast<CXSkinStatic*>(GetDlgItem(id))) {
        control->SetWindowText(text);
    }
}

void CMainDlg::ShowRecorder(const std::string& name, const std::string& model) {
    SetStaticText(kCtlServerName, name);
    SetStaticText(kCtlServerModel, model);
}

void CMainDlg::ForgetRecorder() {
    SetDefServerName(m_site.GetDefServerName());
    SetStaticText(kCtlServerModel, {});
}

}  // namespace kvmon
