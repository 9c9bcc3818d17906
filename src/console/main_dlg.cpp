#include "console/main_dlg.h"

#include <QtGui/QCursor>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QMessageBox>
#include <algorithm>
#include <cstdio>

#include "channel/base_camera.h"
#include "channel/channel_messages.h"
#include "channel/video_wnd.h"
#include "console/snapshot_command.h"
#include "console/widget_style.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "persist/utilities.h"
#include "server/kelvara_info.h"
#include "server/server_messages.h"
#include "skin/input_messages.h"
#include "skin/palette.h"
#include "skin/plain_text.h"
#include "skin/skin_messages.h"
#include "skin/wait_dlg.h"
#include "skin/xskin_od_button.h"
#include "skin/xskin_static.h"

namespace kvmon {

namespace {

constexpr int kSweepPeriodMs = 10000;
constexpr QRect kPageComboPlace(825, 267, 968 - 825, 24);
// The way to the commands that have no button of their own.
constexpr SkinControlRow kMenuRow = {"Button", "Menu",   WS_CHILD | WS_VISIBLE,    944, 22,  26,
                                     26,       kCtlMenu, SkinControlKind::kButton, 0,   6128};

}  // namespace

CMainDlg::CMainDlg(ClientSite& site, QWidget* parent, std::uint16_t language)
    : CXSkinDialog(parent), m_site(site), m_language(language), m_strServerName(site.GetDefServerName()) {
    setObjectName(QStringLiteral("console"));
    setStyleSheet(ConsoleStyleSheet());
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(kMinConsoleWidth, kMinConsoleHeight);
    resize(kMinConsoleWidth, kMinConsoleHeight);
}

CMainDlg::~CMainDlg() {
    DestroyWindow();
    m_view.Cells().DestroyAll();
    // What was told to stop has had the time of the steps before this one; who still runs is waited for.
    DeleteAllKelvara();
    ReapRemovedServers(true);
    ReapRemovedCameras(true);
    for (const char* const name : {"/~snapshot.jpg", "/~snapshot.bmp"}) {
        std::remove((GetDataFolder() + name).c_str());
    }
}

void CMainDlg::OnInitDialog() {
    CreateControls(ControlTable(), LoadString);
    CreateControls({&kMenuRow, 1}, LoadString);
    AddControl(kCtlPageCombo, &m_view.Combo(), kPageComboPlace);
    m_controls.SetListener([this](int id, const ConsoleControls::State& state) { ShowControl(id, state); });
    SetStaticColour(kCtlServerName, palette::kCaptionWhite);
    SetStaticColour(kCtlServerModel, palette::kCaptionBlue);
    m_ptz.Init();
    AddServer(m_site.GetServerIP(), m_site.GetServerPort(), {}, {});
    Logout(false);
    SetTimer(kTimerSweep, kSweepPeriodMs);
}

void CMainDlg::SetStaticColour(int id, unsigned colour) {
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
    control->setEnabled(state.enabled);
    if (auto* const button = dynamic_cast<CXSkinODButton*>(control)) {
        button->SetCheck(state.pressed ? BST_CHECKED : BST_UNCHECKED);
        button->SetBusy(state.busy);
    }
}

// A click has turned the checks on the screen: the states follow.
int CMainDlg::OnSkinODButtonNotify(int, int, LParam) {
    for (const SkinControlRow& row : ControlTable()) {
        if (const auto* const button = dynamic_cast<CXSkinODButton*>(GetDlgItem(row.id))) {
            m_controls.SetPressed(row.id, button->GetCheck() == BST_CHECKED);
        }
    }
    return 1;
}

bool CMainDlg::OnSkinToolTipNeedTextNotify(CXSkinODButton& button, std::string& text) {
    if (std::string tip = m_audio.TipText(button.ControlId()); !tip.empty()) {
        text = std::move(tip);
    }
    return CXSkinDialog::OnSkinToolTipNeedTextNotify(button, text);
}

void CMainDlg::DestroyWindow() {
    if (m_bDestroyed) {
        return;
    }
    m_bDestroyed = true;
    setCursor(Qt::WaitCursor);
    m_view.SaveViewState(m_strKeyName);
    m_binding.SaveMultiServerInfo();
    Logout(false);
    ShowWaitDialog(false);
    OnDestroy();
}

void CMainDlg::OnDestroy() {
    m_bClosing = true;
    m_audio.CloseTalk();
    ReapRemovedServers(false);
    ReapRemovedCameras(false);
    KillTimer(kTimerSweep);
    KillTimer(kTimerStopping);
    KillTimer(kTimerPendingServers);
    KillTimer(kTimerLogin);
}

void CMainDlg::OnBtnLogout() {
    setCursor(Qt::WaitCursor);
    m_audio.CloseTalk();
    m_view.LeaveMultiDisplay();
    m_session.CleanBrowserUserInfo();
    Logout(true);
    m_site.NotifyLogout(0);
    RefreshCursor();
}

void CMainDlg::PressButton(int id) {
    m_controls.SetPressed(id, !m_controls.IsPressed(id));
    PostMessage(WM_COMMAND, static_cast<WParam>(id), 0);
}

void CMainDlg::LoadSettings() {
    m_options.Load(Registry(), m_strKeyName);
    m_site.ShowBrowserToolbar(m_options.bShowBrowserToolbar);
    m_view.LoadMaxViewMode(m_options.bMaxViewMode);
    m_controls.SetPressed(kCtlViewSize, m_options.bMaxViewMode);
    m_events.Start();
    m_audio.LoadSettings(m_options.bEnableAudio);
}

void CMainDlg::OnLogin() {
    const CKelvaraInfo* const first = GetServer(0);
    const bool bLoggedIn = first != nullptr && first->IsRunning();
    if (!bLoggedIn) {
        m_controls.SetPressed(kCtlSequential, false);
    }
    for (QObject* const child : children()) {
        auto* const widget = qobject_cast<QWidget*>(child);
        if (widget != nullptr && !widget->isWindow() && widget != m_waitDialog.get() &&
            widget != GetDlgItem(kCtlMenu)) {
            widget->setEnabled(bLoggedIn);
        }
    }
    for (const SkinControlRow& row : ControlTable()) {
        m_controls.SetEnabled(row.id, bLoggedIn);
    }
}

void CMainDlg::ShowWaitDialog(bool bShow) {
    if (!bShow) {
        m_waitDialog.reset();
        return;
    }
    if (!m_waitDialog) {
        m_waitDialog = std::make_unique<CWaitDlg>(this, CWaitDlg::Place::Inside);
        m_waitDialog->SetText(LoadString(1108));
    }
    m_waitDialog->Open(false);
}

bool CMainDlg::IsWaitDialogShown() const {
    return m_waitDialog != nullptr;
}

void CMainDlg::ShowMessage(const std::string& text, const std::string& title) {
    auto* const box = new QMessageBox(QMessageBox::Warning, QString::fromStdString(title), MarkupOf(text),
                                      QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

void CMainDlg::SetStaticText(int id, const std::string& text) {
    if (auto* const control = dynamic_cast<CXSkinStatic*>(GetDlgItem(id))) {
        control->SetWindowText(text);
    }
}

// To the present style's button where the panel has one.
void CMainDlg::FocusStyleButton() {
    QWidget* button = GetButton(StyleButtonId(m_view.CheckedStyle()));
    (button != nullptr ? button : this)->setFocus();
}

void CMainDlg::RefreshCursor() {
    setCursor(m_busy.IsBusy() ? Qt::WaitCursor : Qt::ArrowCursor);
}

void CMainDlg::OnTimer(std::uint32_t id) {
    switch (id) {
        case IDT_EVENT_WAITCURSOR:
            m_busy.OnWaitEnd();
            break;
        case kTimerLogin:
            m_session.OnLoginTimer();
            break;
        case kTimerHold:
            m_ptz.OnHoldTimer();
            break;
        case kTimerSweep:
            ReapRemovedServers(false);
            ReapRemovedCameras(false);
            break;
        case kTimerStopping:
            m_session.OnStoppingTimer();
            break;
        case kTimerEvents:
            m_events.OnTimer();
            break;
        case kTimerPendingServers:
            m_binding.BuildView();
            break;
        default:
            CXSkinDialog::OnTimer(id);
    }
}

LParam CMainDlg::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (m_bClosing) {
        return 0;
    }
    // Numbers that do not fit an int name nothing.
    const int number = wParam <= 0x7FFFFFFF ? static_cast<int>(wParam) : -1;
    const int server = lParam >= 0 && lParam < GetServerCount() ? static_cast<int>(lParam) : -1;
    switch (message) {
        case WM_COMMAND:
            OnCommand(static_cast<int>(wParam & 0xFFFF));
            break;
        case WM_UPDATEVSINFO:
            m_binding.OnUpdateSvrInfo(static_cast<std::uint32_t>(wParam), server);
            break;
        case WM_GETVSINFO_FAILED:
            m_binding.OnGetVSInfoFailed(static_cast<std::uint32_t>(wParam), server);
            break;
        case WM_GETNVREVENT:
            m_events.OnGetEvents(wParam, server);
            break;
        case kMsgPressLogout:
            PressButton(kCtlLogout);
            break;
        case kMsgPtzPress:
            m_ptz.OnPress(static_cast<int>(lParam & 0xFFFF), wParam == 1);
            break;
        case kMsgEndStop:
            m_ptz.OnFinished();
            break;
        case kMsgFocusStyleButton:
            FocusStyleButton();
            break;
        case kMsgVideoWndMove:
            m_view.OnVideoWndMove(number, UnpackPoint(lParam));
            break;
        case kMsgGoToCamera:
            m_view.GoToCamera(number);
            break;
        case kMsgRepaintNeighbours:
            m_view.RepaintNeighbours(number);
            break;
        case kMsgSizeChange:
            m_view.OnVideoSizeChange(number);
            break;
        case kMsgFirstData:
            m_busy.OnGetDataStream(static_cast<std::uint32_t>(wParam));
            break;
        case WM_LBUTTONDOWN:
        case WM_RBUTTONDOWN:
            m_view.ActivateWindowAt(QCursor::pos());
            break;
        case WM_LBUTTONDBLCLK:
            OnDoubleClick();
            break;
        default:
            return CXSkinDialog::OnMessage(message, wParam, lParam);
    }
    return 0;
}

void CMainDlg::OnCommand(int id) {
    if (id >= kCtlFirstStyle && id < kCtlLastStyle) {
        m_view.SelectStyle(static_cast<ViewStyle>(id - kCtlFirstStyle));
        return;
    }
    if (id >= kCtlFirstPtz && id <= kCtlLastPtz) {
        m_ptz.OnClick(id);
        return;
    }
    switch (id) {
        case kCtlGotoPage1:
            m_site.NotifyGotoPage(1);
            break;
        case kCtlGotoPage2:
            m_site.NotifyGotoPage(2);
            break;
        case kCtlSettings:
            m_optionsCommand.OpenSettings();
            break;
        case kCmdRecorders:
            m_optionsCommand.OpenRecorders(*this);
            break;
        case kCtlLanguage:
            m_optionsCommand.OpenLanguages();
            break;
        case kCtlMenu:
            OpenMenu();
            break;
        case kCtlLogout:
            OnBtnLogout();
            break;
        case kCtlOrderReset:
            Trace("CMainDlg::OnBtnDisplayOrderReset: this=0x%x...\n",
                  static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this)));
            m_view.ResetDisplayOrder();
            break;
        case kCtlViewSize:
            m_view.SetMaxViewMode(m_controls.IsPressed(kCtlViewSize));
            update();
            break;
        case kCtlAudio:
            m_audio.Sync();
            break;
        case kCtlTalk:
            m_audio.OnTalk();
            break;
        case kCtlSnapshot:
            TakeSnapshot(*this);
            break;
        case kCmdEvents:
            m_events.OpenWindow();
            break;
        case kCmdEMap:
            m_windows.OpenEMap();
            break;
        case kCmdDiskStatus:
            m_windows.OpenDiskStatus();
            break;
        case kCmdRefreshControls:
            m_ptz.Refresh();
            m_audio.Refresh();
            break;
        default:
            break;
    }
}

void CMainDlg::OnDoubleClick() {
    m_view.ActivateWindowAt(QCursor::pos());
    PressButton(kCtlFirstStyle);
}

void CMainDlg::resizeEvent(QResizeEvent* event) {
    CXSkinDialog::resizeEvent(event);
    m_view.SetConsoleSize(width(), height());
    if (m_waitDialog) {
        m_waitDialog->Centre();
    }
}

void CMainDlg::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton || event->button() == Qt::RightButton) {
        m_view.ActivateWindowAt(event->globalPosition().toPoint());
    }
    CXSkinDialog::mousePressEvent(event);
}

void CMainDlg::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        OnDoubleClick();
    }
}

void CMainDlg::wheelEvent(QWheelEvent* event) {
    m_ptz.OnWheel(event->angleDelta().y());
    event->accept();
}

void CMainDlg::OpenMenu() {
    const QWidget* const button = GetDlgItem(kCtlMenu);
    m_optionsCommand.OpenMenu(button != nullptr ? button->mapToGlobal(QPoint(0, button->height()))
                                                : QCursor::pos());
}

// On the ground, or by the keyboard's key: the cells have menus of their own.
void CMainDlg::contextMenuEvent(QContextMenuEvent* event) {
    if (event->reason() == QContextMenuEvent::Keyboard) {
        OpenMenu();
    } else if (m_view.Cells().FindAt(event->globalPos()) == nullptr) {
        m_optionsCommand.OpenMenu(event->globalPos());
    }
    event->accept();
}

void CMainDlg::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Enter:
        case Qt::Key_Return:
        case Qt::Key_Escape:
            event->accept();  // never a dialog's default
            break;
        default:
            CXSkinDialog::keyPressEvent(event);
    }
}

}  // namespace kvmon
