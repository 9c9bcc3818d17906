#include "console/recorders/console_session.h"

#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMessageBox>
#include <algorithm>
#include <cstdio>
#include <ctime>

#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "console/dialogs/message_box.h"
#include "console/ports/client_site.h"
#include "console/ports/commands.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/session_events.h"
#include "console/ports/timers.h"
#include "console/recorders/server_binding.h"
#include "console/settings/console_settings.h"
#include "console/wall/camera_list.h"
#include "console/wall/cell_pool.h"
#include "console/wall/view_controller.h"
#include "persist/log_file.h"
#include "persist/utilities.h"
#include "platform/text.h"
#include "server/http/resource_fetch.h"
#include "server/recorder_list.h"
#include "skin/skin_messages.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

bool HaveAllServersStopped(const RecorderList& recorders) {
    for (int i = 0; i < recorders.GetServerCount(); ++i) {
        if (recorders.GetServer(i)->IsRunning()) {
            return false;
        }
    }
    return true;
}

// Leaves a file that tells other programs of the session; they can do without it.
void TouchTemporaryFile() {
    if (std::FILE* const file = std::fopen((GetDataFolder() + "/~Monitor.tmp").c_str(), "wb")) {
        std::fclose(file);
    }
}

// A host as part of a file name.
std::string FileNamePart(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '/' || static_cast<unsigned char>(c) < ' '; },
        '_');
    return text;
}

}  // namespace

ConsoleSession::~ConsoleSession() {
    *m_bCleanerAbort = 1;
}

bool ConsoleSession::IsLoggedIn() const {
    const CKelvaraInfo* const first = m_recorders.GetServer(0);
    return m_bLoggedIn && first != nullptr && first->IsRunning();
}

void ConsoleSession::AutoLogin(const std::string& user, const std::string& password, bool bLowIntegrity) {
    if (!bLowIntegrity) {
        TouchTemporaryFile();
    }
    m_timers.SetTimer(kTimerLogin, 0);
    if (CKelvaraInfo* const first = m_recorders.GetServer(0)) {
        if (m_bLoggedIn && (first->GetUser() != user || first->GetPassword() != password)) {
            EndSession();
        }
        m_bLoggedIn = true;
        m_signIn.OnSessionBegins(user);
        m_binding.OnAutoLogin(user);
        first->SetNotifyWnd(m_desk.Handle());
        first->SetNoRightReported(false);
        first->StartGetKelvaraInfo(0, first->GetHost(), first->GetPort(), user, password, StartMode::Anew);
        OpenTraceFile(first->GetHost(), first->GetPort());
    }
    m_sessionEvents.OnLoginChanged();
    m_site.NotifyLogin(0);
}

void ConsoleSession::OpenTraceFile(const std::string& host, std::uint32_t port) {
    if (!m_settings.IsFirstWall()) {
        return;  // the program has one
    }
    const std::string folder = GetDataFolder() + "/DebugInfo";
    if (!IsFolder(folder)) {
        return;
    }
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    LogFile().Open(FormatText("%s/%s-%u[%s].log", folder.c_str(), FileNamePart(host).c_str(), port,
                              FormatTimeStamp(local).c_str()));
}

void ConsoleSession::StopServer(int server) {
    CKelvaraInfo& info = *m_recorders.GetServer(server);
    for (int slot = 0; slot < info.GetCameraCount(); ++slot) {
        m_recorders.StopAndRemoveCamera(server, slot);
    }
    info.SetCameraCount(0);
    info.StopGetKelvaraInfo(StopWait::Brief);
}

// Closes everything that shows or uses what belongs to the user, and forgets the credential.
void ConsoleSession::EndSession() {
    if (m_bLoggedIn) {
        m_binding.SaveMultiServerInfo();
        m_view.SaveViewState(m_settings.ViewKey());
    }
    m_bLoggedIn = false;
    m_binding.SaveCameraSettings();
    m_sessionEvents.OnSessionEnds();
    CloseDialogs();
    m_cells.DetachAll();
    for (int i = 0; i < m_recorders.GetServerCount(); ++i) {
        StopServer(i);
    }
    if (CKelvaraInfo* const first = m_recorders.GetServer(0)) {
        first->SetConnectInfo(0, first->GetHost(), first->GetPort(), {}, {});
    }
    m_cameras.Clear();
    m_binding.OnSessionEnd();
    m_view.OnSessionEnd();
    m_commands.RefreshControls();
}

// Stays: what is about the program or tells how the session ended, and a snapshot that is being stored.
void ConsoleSession::CloseDialogs() {
    for (QWidget* const host : {static_cast<QWidget*>(&m_desk.Window()), m_desk.DialogHost()}) {
        for (QDialog* const dialog : host->findChildren<QDialog*>(Qt::FindDirectChildrenOnly)) {
            const bool bStays = qobject_cast<QMessageBox*>(dialog) != nullptr ||
                                qobject_cast<QFileDialog*>(dialog) != nullptr ||
                                dialog->property(kOutlivesSession).toBool();
            if (!bStays && dialog->isVisible()) {
                dialog->reject();
            }
        }
    }
}

void ConsoleSession::Logout() {
    EndSession();
    m_stopWatch.Reset();
    m_timers.SetTimer(kTimerStopping, 1000);
    m_desk.ShowWait();
    m_sessionEvents.OnLoginChanged();
}

void ConsoleSession::OnLoginTimer() {
    m_timers.KillTimer(kTimerLogin);
    m_desk.HideWait();
    if (m_cameras.GetCount() == 0) {
        m_desk.ShowWait();
    }
}

void ConsoleSession::OnStoppingTimer() {
    if (m_stopWatch.Tick(HaveAllServersStopped(m_recorders))) {
        m_timers.KillTimer(kTimerStopping);
        m_desk.HideWait();
        m_sessionEvents.OnSessionOver();
    }
}

void ConsoleSession::OnBtnLogout() {
    m_desk.Window().setCursor(Qt::WaitCursor);
    m_view.LeaveMultiDisplay();
    CleanBrowserUserInfo();
    Logout();
    m_site.NotifyLogout(0);
    m_desk.RefreshCursor();
}

void ConsoleSession::CleanBrowserUserInfo() {
    const CKelvaraInfo* const first = m_recorders.GetServer(0);
    if (first == nullptr) {
        return;
    }
    const std::string strURL =
        FormatText("http://%s:%u/logomark.jpg", first->GetHost().c_str(), first->GetPort());
    Trace("CMainDlg::CleanBrowserUserInfo: strURL=%s...\n", strURL.c_str());
    if (m_cleaner.IsRunning()) {
        return;  // the same server is being asked already
    }
    m_cleaner.Wait(Milliseconds(0));
    m_cleaner.Start("cleanuser", [strURL, abort = m_bCleanerAbort] {
        std::vector<std::uint8_t> picture;
        GetResourceFromURL(&picture, strURL, {}, {}, {}, FetchTransport::Platform, abort.get());
    });
}

}  // namespace kvmon
