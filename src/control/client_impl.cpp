#include "control/client_impl.h"

#include <QtCore/QThread>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <algorithm>

#include "console/layout/view_geometry.h"
#include "console/main_dlg.h"
#include "control/auth_text.h"
#include "control/help_url.h"
#include "control/host_ports.h"
#include "control/language_search.h"
#include "persist/log_file.h"
#include "platform/outside_text.h"
#include "platform/text.h"

namespace kvmon {

namespace {

// What is closed returns within a few turns of the event loop; a call that waits for a share is not closed.
constexpr int kFewTurns = 10;
constexpr int kSwitchAgainMs = 50;
constexpr std::size_t kMaxServerName = 256;  // UTF-16 units

// A menu or a modal dialog runs the event loop inside of the console's own functions: the console cannot go
// before they have returned.
bool IsInsideNestedLoop() {
    return QThread::currentThread()->loopLevel() > 1;
}

void CloseNestedWindows() {
    if (QWidget* const popup = QApplication::activePopupWidget()) {
        popup->close();
    }
    QWidget* const modal = QApplication::activeModalWidget();
    if (auto* const dialog = qobject_cast<QDialog*>(modal)) {
        dialog->reject();
    } else if (modal != nullptr) {
        modal->close();
    }
}

}  // namespace

CTR450ClientImpl::CTR450ClientImpl(Clock& clock) : m_clock(clock) {}

CTR450ClientImpl::~CTR450ClientImpl() {
    Destroy();
}

void CTR450ClientImpl::SetServerIP(const std::string& text) {
    m_strServerIP = OutsideLine(text);
}

void CTR450ClientImpl::SetServerPort(std::int32_t n) {
    m_nServerPort = n > 0 && n < 65536 ? n : 80;
}

void CTR450ClientImpl::SetDefServerName(const std::string& name) {
    m_strDefServerName = OutsideLine(Utf16Left(name, kMaxServerName));
    if (m_pMainDlg) {
        m_pMainDlg->SetDefServerName(m_strDefServerName);
    }
}

void CTR450ClientImpl::MoveTo(const std::string& address, std::uint32_t port) {
    m_strServerIP = address;
    SetServerPort(static_cast<std::int32_t>(port));
    if (m_pMainDlg) {
        m_pMainDlg->SetHelpURL(MakeHelpURL(m_strHelpPath, m_strServerIP, GetServerPort(), m_language));
    }
}

void CTR450ClientImpl::Create(WindowBase& window) {
    m_window = &window;
    m_language = LoadLanguage(m_language);
    if (m_pMainDlg) {
        return;
    }
    m_pMainDlg = std::make_unique<CMainDlg>(*this, &window, m_language, m_clock);
    m_pMainDlg->OnInitDialog();
    m_pMainDlg->SetHelpURL(MakeHelpURL(m_strHelpPath, m_strServerIP, GetServerPort(), m_language));
    ChangeSize(window.width(), window.height());
    m_pMainDlg->show();
    m_pMainDlg->BeginWall(m_wallStart);
    if (m_nAutoStart != 0) {
        AutoLogin(m_strAuthData);
    }
}

void CTR450ClientImpl::Destroy() {
    DestroyMainDlg();
    if (m_window) {
        m_window = nullptr;
        UnloadLanguage();
    }
}

void CTR450ClientImpl::DestroyMainDlg() {
    m_bLogin = false;
    if (m_pMainDlg) {
        m_pMainDlg->DestroyWindow();
        m_pMainDlg.reset();
    }
}

int CTR450ClientImpl::Login(const std::string& user, const std::string& password) {
    if (!m_pMainDlg) {
        return -1;
    }
    m_pMainDlg->AutoLogin(user, password);
    return 0;
}

void CTR450ClientImpl::AutoLogin(const std::string& authText) {
    if (const auto credential = DecodeAuthText(authText)) {
        Login(credential->first, credential->second);
    }
}

void CTR450ClientImpl::TestEMap(const std::string& authText) {
    const auto credential = m_pMainDlg ? DecodeAuthText(authText) : std::nullopt;
    if (credential) {
        m_pMainDlg->OpenEMap(credential->first, credential->second);
    }
}

std::string CTR450ClientImpl::ViewNames() const {
    return m_pMainDlg ? m_pMainDlg->ViewNames() : std::string();
}

bool CTR450ClientImpl::OpenView(const std::string& name) {
    return m_pMainDlg && m_pMainDlg->OpenView(name);
}

bool CTR450ClientImpl::SaveView(const std::string& name) {
    return m_pMainDlg && m_pMainDlg->SaveView(name);
}

void CTR450ClientImpl::Logout() {
    if (m_pMainDlg) {
        m_bLogin = false;
        m_pMainDlg->Logout();
    }
}

std::optional<int> CTR450ClientImpl::IEHostUIControl(int nID, const Variant& param) {
    Trace("CTR450ClientImpl::IEHostUIControl: nID = %d\n", nID);
    if (m_pClientSite == nullptr) {
        return std::nullopt;
    }
    m_browserCommands.Run(*m_pClientSite, nID, param, m_window ? m_window->size() : QSize());
    return 0;
}

void CTR450ClientImpl::ChangeSize(int width, int height) {
    m_size = QSize(std::max(width, kMinConsoleWidth), std::max(height, kMinConsoleHeight));
    if (m_pMainDlg) {
        m_pMainDlg->setGeometry(QRect(QPoint(0, 0), m_size));
    }
}

bool CTR450ClientImpl::SetLanguage(int number) {
    SwitchLanguage(LanguageFromNumber(number));
    return true;
}

void CTR450ClientImpl::SwitchLanguage(std::uint16_t langid) {
    if (m_window) {
        m_window->KillTimer(kTimerSwitchLanguage);  // the last wish counts
    }
    if (langid == m_language) {
        return;
    }
    if (HasMainDlg() && IsInsideNestedLoop()) {
        CloseNestedWindows();
        m_window->SetTimer(kTimerSwitchLanguage, ++m_switchTurns < kFewTurns ? 0 : kSwitchAgainMs);
        m_pendingLanguage = langid;
        return;
    }
    m_switchTurns = 0;
    const bool bHadMainDlg = HasMainDlg();
    const bool bLogin = m_bLogin;
    const QSize size = m_size;
    DestroyMainDlg();
    m_language = LoadLanguage(langid);
    if (bHadMainDlg && m_window) {
        Create(*m_window);
        ChangeSize(size.width(), size.height());
        if (bLogin && !m_bLogin) {
            m_window->PostMessage(kMsgLoginEnd, 0, 0);
        }
    }
}

void CTR450ClientImpl::PostEvent(ClientEvent event, int value) {
    if (m_window) {
        m_window->PostMessage(WM_CLIENT_FIRE_EVENT, static_cast<WParam>(event), value);
    }
}

void CTR450ClientImpl::NotifyLogin(int n) {
    m_bLogin = true;
    PostEvent(ClientEvent::Login, n);
}

void CTR450ClientImpl::NotifyLogout(int n) {
    m_bLogin = false;
    PostEvent(ClientEvent::Logout, n);
}

void CTR450ClientImpl::NotifyNewVersion(int n) {
    PostEvent(ClientEvent::NewVersion, n);
}

void CTR450ClientImpl::NotifyChangeLanguage(std::uint16_t langid) {
    PostEvent(ClientEvent::ChangeLanguage, NumberFromLanguage(langid));
    // The switch destroys the console, which is the caller: it comes from the control's window.
    if (m_window) {
        m_window->PostMessage(kMsgSwitchLanguage, 0, langid);
    }
}

void CTR450ClientImpl::OnSwitchLanguageTimer() {
    SwitchLanguage(m_pendingLanguage);
}

void CTR450ClientImpl::NotifyGotoPage(int n) {
    PostEvent(ClientEvent::GotoPage, n);
}

void CTR450ClientImpl::NotifyGotoServer(int n, const std::string& text) {
    m_strGotoServer = text;
    if (m_window) {
        m_window->SendMessage(WM_CLIENT_GOTO_SERVER, 0, n);
    }
}

bool CTR450ClientImpl::CanQuit() const {
    return m_pClientSite != nullptr && m_pClientSite->IsProgram();
}

void CTR450ClientImpl::Quit() {
    if (CanQuit()) {
        m_pClientSite->Quit();
    }
}

void CTR450ClientImpl::ShowTitle(const std::string& text) {
    if (m_pClientSite != nullptr) {
        m_pClientSite->ShowTitle(text);
    }
}

LookChoice CTR450ClientImpl::GetLook() const {
    return m_pClientSite != nullptr ? m_pClientSite->GetLook() : LookChoice::Desktop;
}

void CTR450ClientImpl::ChooseLook(LookChoice choice) {
    if (m_pClientSite != nullptr) {
        m_pClientSite->ChooseLook(choice);
    }
}

void CTR450ClientImpl::TellOthers(SharedThing thing) {
    if (m_pClientSite != nullptr) {
        m_pClientSite->TellOthers(thing);
    }
}

bool CTR450ClientImpl::HasWalls() const {
    return m_pClientSite != nullptr && m_pClientSite->HasWalls();
}

bool CTR450ClientImpl::AreWallsOn() const {
    return m_pClientSite != nullptr && m_pClientSite->AreWallsOn();
}

void CTR450ClientImpl::TurnWalls() {
    if (m_pClientSite != nullptr) {
        m_pClientSite->TurnWalls();
    }
}

void CTR450ClientImpl::KeepAwake(bool on) {
    if (m_pClientSite != nullptr) {
        m_pClientSite->KeepAwake(on);
    }
}

bool CTR450ClientImpl::TakesPictures() const {
    return m_pClientSite != nullptr && m_pClientSite->TakesPictures();
}

void CTR450ClientImpl::GivePicture(GivenPicture&& picture) {
    if (TakesPictures()) {
        m_pClientSite->GivePicture(std::move(picture));
    }
}

void CTR450ClientImpl::ShowBrowserToolbar(bool bShow) {
    if (m_pClientSite != nullptr) {
        m_pClientSite->PutToolBar(bShow);
    }
}

std::unique_ptr<BrowserWindow> CTR450ClientImpl::CreateBrowserWindow() {
    return m_pClientSite != nullptr ? m_pClientSite->CreateBrowserWindow() : nullptr;
}

std::string CTR450ClientImpl::OwnHelp() const {
    return m_pClientSite != nullptr ? m_pClientSite->OwnHelp(HelpSuffix(m_language)) : std::string();
}

void CTR450ClientImpl::OpenPage(const std::string& url) {
    if (m_pClientSite != nullptr) {
        m_pClientSite->OpenPage(url);
    }
}

}  // namespace kvmon
