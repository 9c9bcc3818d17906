#include "console/console_session.h"

#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMessageBox>
#include <algorithm>
#include <cstdio>
#include <ctime>

#include "channel/base_camera.h"
#include "channel/channel_messages.h"
#include "console/main_dlg.h"
#include "console/message_box.h"
#include "persist/log_file.h"
#include "persist/utilities.h"
#include "platform/text.h"
#include "server/kelvara_info.h"
#include "server/resource_fetch.h"
#include "skin/skin_messages.h"

namespace kvmon {

namespace {

bool HaveAllServersStopped() {
    for (int i = 0; i < GetServerCount(); ++i) {
        if (GetServer(i)->IsRunning()) {
            return false;
        }
    }
    return true;
}

// Tells that a session has begun to who looks for it; a failure is of no interest.
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
    const CKelvaraInfo* const first = GetServer(0);
    return m_bLoggedIn && first != nullptr && first->IsRunning();
}

void ConsoleSession::AutoLogin(const std::string& user, const std::string& password, bool bLowIntegrity) {
    if (!bLowIntegrity) {
        TouchTemporaryFile();
    }
    m_dlg.SetTimer(kTimerLogin, 0);
    if (CKelvaraInfo* const first = GetServer(0)) {
        if (m_bLoggedIn && (first->GetUser() != user || first->GetPassword() != password)) {
            EndSession(true);
        }
        m_bLoggedIn = true;
        m_signIn.OnSessionBegins(user);
        m_dlg.Binding().OnAutoLogin(user);
        first->SetNotifyWnd(m_dlg.Handle());
        first->SetNoRightReported(false);
        first->StartGetKelvaraInfo(0, first->GetHost(), first->GetPort(), user, password, true);
        OpenTraceFile(first->GetHost(), first->GetPort());
    }
    m_dlg.OnLogin();
    m_dlg.Site().NotifyLogin(0);
}

void ConsoleSession::OpenTraceFile(const std::string& host, std::uint32_t port) {
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

void ConsoleSession::StopServer(int server, bool bStopOnly) {
    CKelvaraInfo& info = *GetServer(server);
    for (int slot = 0; slot < info.GetCameraCount(); ++slot) {
        StopAndRemoveCamera(server, slot);
    }
    info.SetCameraCount(0);
    info.StopGetKelvaraInfo(false, bStopOnly);
}

// Everything that shows or uses what belongs to the user goes, and the credential with it.
void ConsoleSession::EndSession(bool bStopOnly) {
    if (m_bLoggedIn) {
        m_dlg.Binding().SaveMultiServerInfo();
        m_dlg.View().SaveViewState(m_dlg.KeyName());
    }
    m_bLoggedIn = false;
    m_dlg.Binding().SaveCameraSettings();
    m_dlg.Audio().CloseTalk();
    m_dlg.Menu().Close();
    CloseDialogs();
    m_dlg.View().Cells().DetachAll();
    for (int i = 0; i < GetServerCount(); ++i) {
        StopServer(i, bStopOnly);
    }
    if (CKelvaraInfo* const first = GetServer(0)) {
        first->SetConnectInfo(0, first->GetHost(), first->GetPort(), {}, {});
    }
    m_dlg.Cameras().Clear();
    m_dlg.Events().Stop();
    m_dlg.Binding().OnSessionEnd();
    m_dlg.View().OnSessionEnd();
    m_dlg.PostMessage(WM_COMMAND, kCmdRefreshControls, 0);
}

// What is about the program, or tells how the session ended, stays; so does a picture on its way to a file.
void ConsoleSession::CloseDialogs() {
    m_dlg.Windows().Close();
    m_dlg.OptionsDialogs().CloseRecorders();
    for (QWidget* const host : {static_cast<QWidget*>(&m_dlg), m_dlg.Screens().DialogHost()}) {
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

void ConsoleSession::Logout(bool bStopOnly) {
    EndSession(bStopOnly);
    m_stopWatch.Reset();
    m_dlg.SetTimer(kTimerStopping, 1000);
    m_dlg.ShowWaitDialog(true);
    m_dlg.OnLogin();
}

void ConsoleSession::OnLoginTimer() {
    m_dlg.KillTimer(kTimerLogin);
    m_dlg.ShowWaitDialog(false);
    if (m_dlg.Cameras().GetCount() == 0) {
        m_dlg.ShowWaitDialog(true);
    }
}

void ConsoleSession::OnStoppingTimer() {
    if (m_stopWatch.Tick(HaveAllServersStopped())) {
        m_dlg.KillTimer(kTimerStopping);
        m_dlg.ShowWaitDialog(false);
        m_dlg.OnWallChanged();
    }
}

void ConsoleSession::CleanBrowserUserInfo() {
    const CKelvaraInfo* const first = GetServer(0);
    if (first == nullptr) {
        return;
    }
    const std::string strURL =
        FormatText("http://%s:%u/logomark.jpg", first->GetHost().c_str(), first->GetPort());
    Trace("CMainDlg::CleanBrowserUserInfo: strURL=%s...\n", strURL.c_str());
    if (m_cleaner.IsRunning()) {
        return;  // one that asks the same server is on its way
    }
    m_cleaner.Wait(Milliseconds(0));
    m_cleaner.Start("cleanuser", [strURL, abort = m_bCleanerAbort] {
        std::vector<std::uint8_t> picture;
        GetResourceFromURL(&picture, strURL, {}, {}, {}, false, abort.get());
    });
}

}  // namespace kvmon
