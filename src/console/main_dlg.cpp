#include "console/main_dlg.h"

#include <QtGui/QCursor>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QComboBox>
#include <algorithm>
#include <cstdio>

#include "channel/base_camera.h"
#include "channel/channel_messages.h"
#include "channel/video_wnd.h"
#include "console/host_pages.h"
#include "console/message_box.h"
#include "console/status_line.h"
#include "console/view_commands.h"
#include "console/widget_style.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "persist/utilities.h"
#include "server/recorder_list.h"
#include "server/server_messages.h"
#include "skin/background.h"
#include "skin/input_messages.h"
#include "skin/palette.h"
#include "skin/skin_messages.h"
#include "skin/wait_dlg.h"
#include "skin/xskin_od_button.h"
#include "skin/xskin_static.h"

namespace kvmon {

namespace {

constexpr int kSweepPeriodMs = 10000;
constexpr int kSecondMs = 1000;
constexpr QRect kPageComboPlace(825, 267, 968 - 825, 24);

}  // namespace

CMainDlg::CMainDlg(ClientSite& site, QWidget* parent, std::uint16_t language, Clock& clock)
    : CXSkinDialog(parent),
      m_site(site),
      m_language(language),
      m_clock(clock),
      m_strServerName(site.GetDefServerName()) {
    setObjectName(QStringLiteral("console"));
    setStyleSheet(ConsoleStyleSheet());
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(kMinConsoleWidth, kMinConsoleHeight);
    resize(kMinConsoleWidth, kMinConsoleHeight);
    m_status = std::make_unique<StatusLine>(*this);
    m_recorders.AddListener(*m_status);
    m_recorders.AddListener(m_serverClock);
    m_recorders.AddListener(m_binding);
}

CMainDlg::~CMainDlg() {
    DestroyWindow();
    m_view.Cells().DestroyAll();
    // What was told to stop has had the time of the steps before this one; who still runs is waited for.
    m_recorders.DeleteAllKelvara();
    m_recorders.ReapRemovedServers(StopWait::ToTheEnd);
    m_recorders.ReapRemovedCameras(StopWait::ToTheEnd);
    for (const char* const name : {"/~snapshot.jpg", "/~snapshot.bmp"}) {
        std::remove((GetDataFolder() + name).c_str());
    }
}

void CMainDlg::OnInitDialog() {
    CreateControls(ControlTable(), LoadString);
    CreateControls(ToolTable(), LoadString);
    AddControl(kCtlPageCombo, &m_view.Combo(), kPageComboPlace);
    OrderTabsByPlace();
    m_controls.SetListener([this](int id, const ConsoleControls::State& state) { ShowControl(id, state); });
    SetStaticColour(kCtlServerName, palette::kCaptionWhite);
    SetStaticColour(kCtlServerModel, palette::kCaptionBlue);
    SetDefServerName(m_strServerName);
    m_ptz.Init();
    m_screens.Init();
    m_recorders.AddServer(m_site.GetServerIP(), m_site.GetServerPort(), {}, {});
    Logout();
    SetTimer(kTimerSweep, kSweepPeriodMs);
    SetTimer(kTimerSecond, kSecondMs);
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
    for (const auto table : {ControlTable(), ToolTable()}) {
        for (const SkinControlRow& row : table) {
            if (const auto* const button = dynamic_cast<CXSkinODButton*>(GetDlgItem(row.id))) {
                m_controls.SetPressed(row.id, button->GetCheck() == BST_CHECKED);
            }
        }
    }
    return 1;
}

// What the control does at present, and its key.
bool CMainDlg::OnSkinToolTipNeedTextNotify(CXSkinODButton& button, std::string& text) {
    text = m_cameraControls.TipText(button.ControlId(), text);
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
    m_help.Close();
    m_screens.SaveState(m_strKeyName);
    m_screens.LeaveFullScreen();
    Logout();
    ShowWaitDialog(false);
    OnDestroy();
}

void CMainDlg::OnDestroy() {
    m_bClosing = true;
    m_audio.CloseTalk();
    m_recorders.ReapRemovedServers(StopWait::Brief);
    m_recorders.ReapRemovedCameras(StopWait::Brief);
    KillTimer(kTimerSweep);
    KillTimer(kTimerSecond);
    KillTimer(kTimerStopping);
    KillTimer(kTimerPendingServers);
    KillTimer(kTimerLogin);
    KillTimer(kTimerPrepare);
    KillTimer(kTimerSequential);
}

void CMainDlg::OnBtnLogout() {
    setCursor(Qt::WaitCursor);
    m_view.LeaveMultiDisplay();
    m_session.CleanBrowserUserInfo();
    Logout();
    m_site.NotifyLogout(0);
    RefreshCursor();
}

void CMainDlg::PressButton(int id) {
    if (!m_controls.Get(id).enabled) {
        return;
    }
    m_controls.SetPressed(id, !m_controls.IsPressed(id));
    PostMessage(WM_COMMAND, static_cast<WParam>(id), 0);
}

void CMainDlg::PressMenuEntry(int id) {
    if (id >= kCtlFirstPtz && id <= kCtlLastPtz) {
        m_ptz.OnMenu(id);
        return;
    }
    PressButton(id);
}

void CMainDlg::SetDefServerName(const std::string& name) {
    m_strServerName = name;
    if (!m_binding.IsServerShown()) {
        SetStaticText(kCtlServerName, name);
    }
}

void CMainDlg::SetHelpURL(const std::string& url) {
    m_strHelpURL = url;
    m_controls.SetShown(kCtlHelp, !url.empty());
}

void CMainDlg::LoadSettings() {
    m_options.Load(Registry(), m_strKeyName);
    m_site.ShowBrowserToolbar(m_options.bShowBrowserToolbar);
    m_view.LoadMaxViewMode(m_options.bMaxViewMode);
    m_controls.SetPressed(kCtlViewSize, m_options.bMaxViewMode);
    m_sequential.SetInterval(m_options.dwSequentialInterval);
    m_events.Start();
    m_audio.LoadSettings(m_options.bEnableAudio);
}

void CMainDlg::OnLogin() {
    const bool bLoggedIn = m_session.IsLoggedIn();
    if (!bLoggedIn && (m_sequential.IsOn() || m_controls.IsPressed(kCtlSequential))) {
        m_sequential.SetSequentialMode(false, true);
    }
    for (QObject* const child : children()) {
        auto* const widget = qobject_cast<QWidget*>(child);
        if (widget != nullptr && !widget->isWindow() && widget != m_waitDialog.get() &&
            widget != m_status.get() && widget != m_session.SignIn().Card()) {
            widget->setEnabled(bLoggedIn);
        }
    }
    for (const auto table : {ControlTable(), ToolTable()}) {
        for (const SkinControlRow& row : table) {
            m_controls.SetEnabled(row.id, bLoggedIn || row.id == kCtlLogout);
        }
    }
    m_session.SignIn().Update();
    m_status->OnTick();
    m_controls.SetPressed(kCtlLogout, bLoggedIn);
    if (CXSkinODButton* const logout = GetButton(kCtlLogout)) {
        logout->setEnabled(true);
        logout->SetTipText(LoadString(bLoggedIn ? 4003 : 4002));
    }
}

void CMainDlg::ShowWaitDialog(bool bShow) {
    if (!bShow) {
        m_waitDialog.reset();
        return;
    }
    if (!m_waitDialog) {
        m_waitDialog = std::make_unique<CWaitDlg>(m_screens.Wall(), CWaitDlg::Place::Inside);
        m_waitDialog->setObjectName(QStringLiteral("waitDialog"));
        m_waitDialog->SetText(LoadString(1108));
    }
    m_waitDialog->Open(false);
}

void CMainDlg::PlaceWaitDialog() {
    if (!m_waitDialog) {
        return;
    }
    QWidget* const wall = m_screens.Wall();
    if (m_waitDialog->parentWidget() != wall) {
        m_waitDialog->setParent(wall);
        m_waitDialog->show();
    }
    m_waitDialog->Centre();
    m_waitDialog->raise();
}

void CMainDlg::OnWallChanged() {
    m_binding.ShowRecorderOfActiveCell();
    m_session.SignIn().Update();
    m_status->OnTick();
}

bool CMainDlg::IsWaitDialogShown() const {
    return m_waitDialog != nullptr;
}

QDialog* CMainDlg::ShowMessage(const std::string& text, const std::string& title) {
    return OpenMessageBox(m_screens.DialogHost(), text, title);
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
        case kTimerSequential:
            m_sequential.OnSwitchTimer();
            break;
        case kTimerPrepare:
            m_sequential.OnPrepareTimer();
            break;
        case kTimerManualRecording:
            m_cameraControls.OnRecordingWaitEnd();
            break;
        case kTimerHold:
            m_ptz.OnHoldTimer();
            break;
        case kTimerKeyRelease:
            m_keys.OnReleaseTimer();
            break;
        case kTimerSweep:
            m_recorders.ReapRemovedServers(StopWait::Brief);
            m_recorders.ReapRemovedCameras(StopWait::Brief);
            break;
        case kTimerSecond:
            m_serverClock.OnTick();
            m_session.SignIn().Update();
            m_status->OnTick();
            break;
        case kTimerStopping:
            // The ticks prepare no pages: the cameras that a session has by then are those of the next one,
            // which would stream unseen for as long as the layout stands.
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
    const int server = lParam >= 0 && lParam < m_recorders.GetServerCount() ? static_cast<int>(lParam) : -1;
    switch (message) {
        case WM_COMMAND:
            OnCommand(static_cast<int>(wParam & 0xFFFF));
            break;
        case WM_UPDATEVSINFO:
            m_binding.OnUpdateSvrInfo(static_cast<std::uint32_t>(wParam), server);
            m_status->OnTick();
            break;
        case WM_GETVSINFO_FAILED:
            m_binding.OnGetVSInfoFailed(static_cast<std::uint32_t>(wParam), server);
            m_status->OnFailure(m_recorders.GetServer(server));
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
        case kMsgManualRecording:
            m_cameraControls.OnRecordingResult(wParam == 1, static_cast<int>(lParam));
            break;
        case kMsgOpenHelp:
            OpenHelp(lParam >= 0 && lParam < 12 ? static_cast<int>(lParam) : -1);
            break;
        case kMsgFocusStyleButton:
            FocusStyleButton();
            break;
        case kMsgSecondPanelClosed:
            m_screens.LeaveSecondDisplay();
            break;
        case kMsgVideoWndMove:
            m_view.OnVideoWndMove(number, UnpackPoint(lParam));
            break;
        case kMsgMayDragCell:
            return m_drag.MayBegin(number) ? 1 : 0;
        case kMsgDragBegins:
            m_drag.Begin(number, UnpackPoint(lParam));
            break;
        case kMsgDragMoves:
            return m_drag.Move(number, UnpackPoint(lParam)) ? 1 : 0;
        case kMsgDragEnds:
            return m_drag.End(number) ? 1 : 0;
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
        case WM_LBUTTONUP:
            OnLButtonUp();
            break;
        case WM_LBUTTONDBLCLK:
            OnDoubleClick();
            break;
        case WM_CONTEXTMENU:
            m_cellMenu.Open(UnpackPoint(lParam));
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
            m_screens.MakeRoom();
            m_site.NotifyGotoPage(1);
            break;
        case kCtlGotoPage2:
            m_controls.SetShown(kCtlGotoPage2, false);
            m_screens.MakeRoom();
            m_site.NotifyGotoPage(2);
            break;
        case kCtlOptions:
            m_optionsCommand.OpenSettings();
            break;
        case kCtlRecorders:
            m_optionsCommand.OpenRecorders(*m_screens.DialogHost());
            break;
        case kCtlLanguage:
            m_optionsCommand.OpenLanguages();
            break;
        case kCtlHelp:
            OpenHelp(0);
            break;
        case kCtlCameraSettings:
            GotoCameraSettings(*this);
            break;
        case kCtlLogout:
            if (m_session.IsLoggedIn() || !m_session.SignIn().Focus()) {
                OnBtnLogout();
            }
            m_controls.SetPressed(kCtlLogout, m_session.IsLoggedIn());
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
        case kCtlFullScreen:
            m_screens.SetFullScreen(m_controls.IsPressed(kCtlFullScreen), false);
            RefreshCursor();
            break;
        case kCtlMultiScreens:
            m_screens.OnBtnMultiScreens();
            break;
        case kCtlMainMenu:
            OnBtnMainMenu(*this);
            break;
        case kCtlPipSettings:
            OpenPipSettings(*this);
            break;
        case kCtlLastStyle:
            OnBtnChannelSetting(*this);
            break;
        case kCtlSequential:
            m_sequential.OnBtnSequential();
            break;
        case kCtlSequentialInterval:
            m_sequential.OpenIntervalDialog();
            break;
        case kCtlPageMenu:
            m_sequential.OnBtnSequentialPage();
            break;
        case kCtlRecord:
            m_cameraControls.OnBtnManualRecording();
            break;
        case kCtlPresetMenu:
            m_cameraControls.OnBtnPresetMenu();
            break;
        case kCtlAudio:
            m_audio.Sync();
            break;
        case kCtlTalk:
            m_audio.OnTalk();
            break;
        case kCtlSnapshot:
            m_snapshot.Take();
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
            m_cameraControls.Refresh();
            m_ptz.Refresh();
            m_cellMenu.Refresh();
            break;
        case kCtlCameraHome:
            OpenCameraHome(*this);
            break;
        default:
            m_cellMenu.OnCommand(id);
            break;
    }
}

void CMainDlg::OpenHelp(int topic) {
    if (IsWebPage(HelpAddress(m_strHelpURL, topic))) {
        m_screens.MakeRoom();
        m_help.Open(m_strHelpURL, topic);
    }
}

// A click into the pictures ends the choice of a page.
void CMainDlg::OnLButtonUp() {
    if (m_view.Combo().hasFocus() && m_view.Cells().FindAt(QCursor::pos()) != nullptr) {
        PostMessage(kMsgFocusStyleButton, 0, 0);
    }
}

void CMainDlg::OnDoubleClick() {
    if (m_screens.LeaveFullScreen()) {
        return;
    }
    m_view.ActivateWindowAt(QCursor::pos());
    PressButton(kCtlFirstStyle);
}

void CMainDlg::resizeEvent(QResizeEvent* event) {
    CXSkinDialog::resizeEvent(event);
    m_view.SetConsoleSize(width(), height());
    m_status->setGeometry(SkinStatusRect(size()));
    if (m_session.SignIn().IsShown()) {
        m_session.SignIn().Update();
    }
    PlaceWaitDialog();
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

void CMainDlg::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Enter:
        case Qt::Key_Return:
            event->accept();  // never a dialog's default
            break;
        case Qt::Key_Menu:
            m_cellMenu.OpenAtCell();
            break;
        case Qt::Key_Escape:
            m_screens.LeaveFullScreen();
            event->accept();
            break;
        default:
            if (event->key() == Qt::Key_F10 && event->modifiers() == Qt::ShiftModifier) {
                m_cellMenu.OpenAtCell();
                break;
            }
            if (!m_keys.OnKeyPress(*event)) {
                CXSkinDialog::keyPressEvent(event);
            }
    }
}

void CMainDlg::keyReleaseEvent(QKeyEvent* event) {
    if (!m_keys.OnKeyRelease(*event)) {
        CXSkinDialog::keyReleaseEvent(event);
    }
}

bool CMainDlg::event(QEvent* event) {
    if (event->type() == QEvent::WindowDeactivate) {
        m_keys.ReleaseAll();  // their releases go elsewhere
    }
    return CXSkinDialog::event(event);
}

}  // namespace kvmon
