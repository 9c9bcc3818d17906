#include "console/main_dlg.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QComboBox>

#include "console/console_parts.h"
#include "console/console_tables.h"
#include "console/ports/client_site.h"
#include "console/ports/console_messages.h"
#include "console/wall/live_count.h"
#include "persist/string_table.h"
#include "server/recorder_list.h"
#include "skin/background.h"
#include "skin/input_messages.h"
#include "skin/role_accessible.h"
#include "skin/skin_colours.h"
#include "skin/xskin_od_button.h"
#include "skin/xskin_static.h"

namespace kvmon {

namespace {

constexpr int kSweepPeriodMs = 10000;
constexpr int kSecondMs = 1000;
constexpr QRect kPageComboPlace(825, 267, 968 - 825, 24);

}  // namespace

CMainDlg::CMainDlg(ClientSite& site, QWidget* parent, std::uint16_t language, Clock& clock)
    : CXSkinDialog(parent), m_site(site), m_strServerName(site.GetDefServerName()) {
    setObjectName(QStringLiteral("console"));
    setFocusPolicy(Qt::ClickFocus);  // it shows no focus, so the tab key passes it by
    SetAccessibleRole(*this, QAccessible::Grouping);
    setMinimumSize(kMinConsoleWidth, kMinConsoleHeight);
    resize(kMinConsoleWidth, kMinConsoleHeight);
    m_parts = std::make_unique<ConsoleParts>(*this, *this, *this, *this, *this, site, clock, language);
    m_parts->status.OnTick();
}

CMainDlg::~CMainDlg() {
    DestroyWindow();
}

void CMainDlg::OnInitDialog() {
    CreateControls(ControlTable(), LoadString);
    CreateControls(ToolTable(), LoadString);
    AddControl(kCtlPageCombo, &m_parts->view.Combo(), kPageComboPlace);
    OrderTabs({});
    NameKeys();
    m_parts->controls.SetListener(
        [this](int id, const ConsoleControls::State& state) { ShowControl(id, state); });
    SetStaticColour(kCtlServerName, &SkinColours::captionWhite);
    SetStaticColour(kCtlServerModel, &SkinColours::captionBlue);
    SetDefServerName(m_strServerName);
    m_parts->Start();
    SetTimer(kTimerSweep, kSweepPeriodMs);
    SetTimer(kTimerSecond, kSecondMs);
}

// For assistive tools.
void CMainDlg::NameKeys() {
    for (const auto table : {ControlTable(), ToolTable()}) {
        for (const SkinControlRow& row : table) {
            if (auto* const button = dynamic_cast<CXSkinODButton*>(GetDlgItem(row.id))) {
                button->SetKeyText(ShortcutName(row.id));
            }
        }
    }
}

void CMainDlg::SetStaticColour(int id, ColourRole colour) {
    if (auto* const control = dynamic_cast<CXSkinStatic*>(GetDlgItem(id))) {
        control->SetTextColor(colour);
    }
}

void CMainDlg::ShowControl(int id, const ConsoleControls::State& state) {
    QWidget* const control = GetDlgItem(id);
    if (control == nullptr) {
        return;
    }
    control->setVisible(state.shown);
    control->setEnabled(state.enabled && !m_bShownLocked);
    if (auto* const button = dynamic_cast<CXSkinODButton*>(control)) {
        button->SetCheck(state.pressed ? BST_CHECKED : BST_UNCHECKED);
        button->SetBusy(state.busy);
    }
}

// A click has changed the buttons on the screen: the states follow.
int CMainDlg::OnSkinODButtonNotify(int, int, LParam) {
    for (const auto table : {ControlTable(), ToolTable()}) {
        for (const SkinControlRow& row : table) {
            if (const auto* const button = dynamic_cast<CXSkinODButton*>(GetDlgItem(row.id))) {
                m_parts->controls.SetPressed(row.id, button->GetCheck() == BST_CHECKED);
            }
        }
    }
    return 1;
}

// Says what the control does at present, and its key.
bool CMainDlg::OnSkinToolTipNeedTextNotify(CXSkinODButton& button, std::string& text) {
    text = m_parts->cameraControls.TipText(button.ControlId(), text);
    const QString key = ShortcutName(button.ControlId());
    if (!text.empty() && !key.isEmpty()) {
        text += " (" + key.toStdString() + ")";
    }
    return !text.empty();
}

void CMainDlg::DestroyWindow() {
    if (m_bDestroyed) {
        return;
    }
    m_bDestroyed = true;
    setCursor(Qt::WaitCursor);
    m_parts->help.Close();
    m_parts->screens.SaveState(m_parts->settings.key);
    m_parts->screens.LeaveFullScreen();
    Logout();
    HideWait();
    OnDestroy();
}

void CMainDlg::OnDestroy() {
    m_bClosing = true;
    m_parts->audio.CloseTalk();
    m_parts->recorders.ReapRemovedServers(StopWait::Brief);
    m_parts->recorders.ReapRemovedCameras(StopWait::Brief);
    KillTimer(kTimerSweep);
    KillTimer(kTimerSecond);
    KillTimer(kTimerStopping);
    KillTimer(kTimerPendingServers);
    KillTimer(kTimerLogin);
    KillTimer(kTimerPrepare);
    KillTimer(kTimerSequential);
    KillTimer(kTimerViewStep);
}

void CMainDlg::BeginWall(WallStart start) {
    if (start == WallStart::Locked) {
        m_parts->lock.Lock();
    }
    if (start != WallStart::Window) {
        m_parts->screens.SetFullScreen(true);
    }
}

void CMainDlg::LeaveWall() {
    m_parts->LeaveWall();
}

void CMainDlg::CoverDisplay() {
    m_parts->screens.SetFullScreen(true);
}

void CMainDlg::UncoverDisplay() {
    m_parts->screens.SetFullScreen(false);
}

bool CMainDlg::IsFullScreen() const {
    return m_parts->screens.IsFullScreen();
}

bool CMainDlg::IsOn(const QScreen& display) const {
    return m_parts->screens.IsOn(display);
}

void CMainDlg::OnShared(SharedThing thing) {
    if (!m_bClosing) {
        m_parts->OnShared(thing);
    }
}

void CMainDlg::AutoLogin(const std::string& user, const std::string& password) {
    m_parts->session.AutoLogin(user, password);
}

std::optional<RecorderLogin> CMainDlg::Login() const {
    const CKelvaraInfo* const first = m_parts->recorders.GetServer(0);
    if (!IsLoggedIn() || first == nullptr) {
        return std::nullopt;
    }
    return RecorderLogin{first->GetHost(), first->GetPort(), first->GetUser(), first->GetPassword()};
}

void CMainDlg::FollowLogin(const RecorderLogin& login) {
    CKelvaraInfo* const first = m_parts->recorders.GetServer(0);
    if (first == nullptr) {
        return;
    }
    if (first->GetHost() != login.host || first->GetPort() != login.port) {
        Logout();
        first->SetConnectInfo(0, login.host, login.port, {}, {});
    }
    AutoLogin(login.user, login.password);
}

void CMainDlg::Logout() {
    m_parts->session.Logout();
}

void CMainDlg::SetDefServerName(const std::string& name) {
    m_strServerName = name;
    if (!m_parts->binding.IsServerShown()) {
        SetStaticText(kCtlServerName, name);
    }
}

void CMainDlg::SetHelpURL(const std::string& url) {
    m_parts->helpUrl = url;
    m_parts->controls.SetShown(kCtlHelp, !url.empty());
}

void CMainDlg::OpenEMap(const std::string& user, const std::string& password) {
    m_parts->windows.OpenEMap(user, password);
}

std::string CMainDlg::ViewNames() const {
    std::string names;
    for (const NamedView& view : m_parts->views.List().All()) {
        names += (names.empty() ? "" : "\n") + view.name;
    }
    return names;
}

bool CMainDlg::OpenView(const std::string& name) {
    return m_parts->views.Open(name);
}

std::string CMainDlg::Sequence() const {
    return m_parts->views.Sequence();
}

std::string CMainDlg::View() const {
    return m_parts->views.Current();
}

bool CMainDlg::IsLive() const {
    return CountLive(m_parts->cells).live > 0;
}

bool CMainDlg::SaveView(const std::string& name) {
    return m_parts->views.Save(name);
}

void CMainDlg::OnTimer(std::uint32_t id) {
    if (!RunTimer(*m_parts, id)) {
        CXSkinDialog::OnTimer(id);
    }
}

LParam CMainDlg::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (m_bClosing) {
        return 0;
    }
    const auto result = AnswerMessage(*m_parts, message, wParam, lParam);
    return result ? *result : CXSkinDialog::OnMessage(message, wParam, lParam);
}

void CMainDlg::resizeEvent(QResizeEvent* event) {
    CXSkinDialog::resizeEvent(event);
    m_parts->view.SetConsoleSize(width(), height());
    m_parts->drawer.Update();
    m_parts->status.setGeometry(SkinStatusRect(size()));
    if (m_parts->session.SignIn().IsShown()) {
        m_parts->session.SignIn().Update();
    }
    m_parts->OnWallMoved();
}

void CMainDlg::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton || event->button() == Qt::RightButton) {
        m_parts->view.ActivateWindowAt(event->globalPosition().toPoint());
    }
    CXSkinDialog::mousePressEvent(event);
}

void CMainDlg::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        SendMessage(WM_LBUTTONDBLCLK, 0, 0);
    }
}

void CMainDlg::wheelEvent(QWheelEvent* event) {
    m_parts->ptz.OnWheel(event->angleDelta().y());
    event->accept();
}

void CMainDlg::keyPressEvent(QKeyEvent* event) {
    if (!m_parts->keys.OnKeyPress(*event)) {
        CXSkinDialog::keyPressEvent(event);
    }
}

void CMainDlg::keyReleaseEvent(QKeyEvent* event) {
    if (!m_parts->keys.OnKeyRelease(*event)) {
        CXSkinDialog::keyReleaseEvent(event);
    }
}

bool CMainDlg::event(QEvent* event) {
    if (event->type() == QEvent::WindowDeactivate && m_parts) {
        m_parts->keys.ReleaseAll();  // their releases go elsewhere
    }
    return CXSkinDialog::event(event);
}

}  // namespace kvmon
