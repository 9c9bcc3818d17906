#include "console/main_dlg.h"

#include <QtGui/QCursor>
#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMessageBox>
#include <algorithm>
#include <cstdio>

#include "channel/base_camera.h"
#include "channel/channel_messages.h"
#include "channel/video_wnd.h"
#include "console/console_background.h"
#include "console/wait_dialog.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "server/kelvara_info.h"
#include "server/server_messages.h"

namespace kvmon {

namespace {

constexpr int kSweepPeriodMs = 10000;

QPoint PointOf(LParam packed) {
    return {static_cast<std::int16_t>(packed & 0xFFFF), static_cast<std::int16_t>((packed >> 16) & 0xFFFF)};
}

}  // namespace

CMainDlg::CMainDlg(ClientSite& site, QWidget* parent, std::uint16_t language)
    : WindowBase(parent), m_site(site), m_language(language), m_strServerName(site.GetDefServerName()) {
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
    CreateStatics();
    m_view.Combo().setProperty("controlId", kCtlPageCombo);
    PlaceControls();
    AddServer(m_site.GetServerIP(), m_site.GetServerPort(), {}, {});
    Logout(false);
    SetTimer(kTimerSweep, kSweepPeriodMs);
}

void CMainDlg::CreateStatics() {
    for (const ControlRow& row : ControlTable()) {
        if (row.kind != ControlKind::Static) {
            continue;
        }
        auto label = std::make_unique<QLabel>(this);
        label->setTextFormat(Qt::PlainText);
        label->setObjectName(row.id == kCtlServerName ? QStringLiteral("serverName")
                                                      : QStringLiteral("serverModel"));
        m_statics[row.id] = std::move(label);
    }
}

void CMainDlg::PlaceControls() {
    const int shift = std::max(width() - kMinConsoleWidth, 0);
    for (const auto& [id, label] : m_statics) {
        const ControlRow& row = *FindControlRow(id);
        // What stands in the panel at the right keeps its distance to the right edge.
        label->setGeometry(row.x > 802 ? row.x + shift : row.x, row.y, row.width, row.height);
    }
    m_view.SetConsoleSize(width(), height());
    if (m_waitDialog) {
        m_waitDialog->Centre();
    }
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
    ReapRemovedServers(false);
    ReapRemovedCameras(false);
    KillTimer(kTimerSweep);
    KillTimer(kTimerStopping);
    KillTimer(kTimerPendingServers);
    KillTimer(kTimerLogin);
}

void CMainDlg::OnBtnLogout() {
    setCursor(Qt::WaitCursor);
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
    m_view.LoadMaxViewMode(m_options.bMaxViewMode);
    m_controls.SetPressed(kCtlViewSize, m_options.bMaxViewMode);
    m_controls.SetShown(kCtlAudio, true);
    m_controls.SetPressed(kCtlAudio, m_options.bEnableAudio);
}

bool CMainDlg::IsAudioChecked() const {
    const bool bPressed = m_controls.IsPressed(kCtlAudio);
    Trace("CMainDlg::IsAudioChecked: m_pAudioButton->GetCheck()==BST_CHECKED=%s...\n", BoolText(bPressed));
    const bool bExists = m_controls.Exists(kCtlAudio);
    Trace("CMainDlg::IsAudioChecked: ::IsWindow(m_pAudioButton->GetSafeHwnd() )=%s...\n", BoolText(bExists));
    return bPressed && bExists;
}

void CMainDlg::OnLogin() {
    const CKelvaraInfo* const first = GetServer(0);
    const bool bLoggedIn = first != nullptr && first->IsRunning();
    if (!bLoggedIn) {
        m_controls.SetPressed(kCtlSequential, false);
    }
    for (QObject* const child : children()) {
        auto* const widget = qobject_cast<QWidget*>(child);
        if (widget != nullptr && !widget->isWindow() && widget != m_waitDialog.get()) {
            widget->setEnabled(bLoggedIn);
        }
    }
    for (const ControlRow& row : ControlTable()) {
        m_controls.SetEnabled(row.id, bLoggedIn);
    }
}

void CMainDlg::ShowWaitDialog(bool bShow) {
    if (!bShow) {
        m_waitDialog.reset();
        return;
    }
    if (!m_waitDialog) {
        m_waitDialog = std::make_unique<WaitDialog>(*this);
    }
    m_waitDialog->Open();
}

bool CMainDlg::IsWaitDialogShown() const {
    return m_waitDialog != nullptr;
}

void CMainDlg::ShowMessage(const std::string& text, const std::string& title) {
    auto* const box = new QMessageBox(QMessageBox::Warning, QString::fromStdString(title),
                                      QString::fromStdString(text), QMessageBox::Ok, this);
    box->setTextFormat(Qt::PlainText);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

void CMainDlg::SetStaticText(int id, const std::string& text) {
    const auto label = m_statics.find(id);
    if (label != m_statics.end()) {
        label->second->setText(QString::fromStdString(text));
    }
}

void CMainDlg::FocusStyleButton() {
    setFocus();
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
        case kTimerSweep:
            ReapRemovedServers(false);
            ReapRemovedCameras(false);
            break;
        case kTimerStopping:
            m_session.OnStoppingTimer();
            break;
        case kTimerPendingServers:
            m_binding.BuildView();
            break;
        default:
            WindowBase::OnTimer(id);
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
        case kMsgPressLogout:
            PressButton(kCtlLogout);
            break;
        case kMsgFocusStyleButton:
            FocusStyleButton();
            break;
        case kMsgVideoWndMove:
            m_view.OnVideoWndMove(number, PointOf(lParam));
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
            return WindowBase::OnMessage(message, wParam, lParam);
    }
    return 0;
}

void CMainDlg::OnCommand(int id) {
    if (id >= kCtlFirstStyle && id < kCtlLastStyle) {
        m_view.SelectStyle(static_cast<ViewStyle>(id - kCtlFirstStyle));
        return;
    }
    switch (id) {
        case kCtlGotoPage1:
            m_site.NotifyGotoPage(1);
            break;
        case kCtlGotoPage2:
            m_site.NotifyGotoPage(2);
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
            SetAudio();
            break;
        default:
            break;
    }
}

// Sound for the active window's camera and none for the others: one camera plays at a time.
void CMainDlg::SetAudio() {
    const bool bOn = IsAudioChecked();
    const auto active = m_view.Cells().GetActiveCamera();
    for (int n = 0; n < m_cameras.GetCount(); ++n) {
        if (const auto camera = m_cameras.GetCameraByChannel(n)) {
            camera->SetPlayAudio(bOn && camera == active);
        }
    }
}

void CMainDlg::OnDoubleClick() {
    m_view.ActivateWindowAt(QCursor::pos());
    PressButton(kCtlFirstStyle);
}

void CMainDlg::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    PaintConsoleBackground(painter, size(), m_view.GetViewRectangle());
}

void CMainDlg::resizeEvent(QResizeEvent* event) {
    WindowBase::resizeEvent(event);
    PlaceControls();
}

void CMainDlg::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton || event->button() == Qt::RightButton) {
        m_view.ActivateWindowAt(event->globalPosition().toPoint());
    }
    WindowBase::mousePressEvent(event);
}

void CMainDlg::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        OnDoubleClick();
    }
}

void CMainDlg::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Enter:
        case Qt::Key_Return:
        case Qt::Key_Escape:
            event->accept();  // never a dialog's default
            break;
        default:
            WindowBase::keyPressEvent(event);
    }
}

}  // namespace kvmon
