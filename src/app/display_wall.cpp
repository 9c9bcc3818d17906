#include "app/display_wall.h"

#include <QtGui/QScreen>
#include <cstdio>
#include <utility>

#include "console/layout/view_geometry.h"
#include "console/main_dlg.h"
#include "console/settings/fill_pattern.h"
#include "console/settings/multi_server_list.h"
#include "control/host_ports.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "platform/outside_text.h"
#include "platform/secret_memory.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrWallWarning = 5026;
constexpr std::uint32_t kStrWallHasNoView = 7117;
constexpr const char* kSequence = "Sequence";

}  // namespace

DisplayWall::DisplayWall(const QScreen& display, std::uint16_t language, Owner& owner, Clock& clock)
    : m_display(display.name()), m_language(language), m_owner(owner) {
    // Where a console looks for its display.
    m_host.setGeometry(QRect(display.geometry().topLeft(), QSize(kMinConsoleWidth, kMinConsoleHeight)));
    m_console = std::make_unique<CMainDlg>(*this, &m_host, language, clock);
    m_console->OnInitDialog();
    m_console->show();
    m_view = Registry().GetProfileString(Section(), kSequence, {});
}

DisplayWall::~DisplayWall() = default;

std::string DisplayWall::Section() const {
    return "Walls\\" + KeyFromName(m_display.toStdString());
}

void DisplayWall::SetView(const std::string& name, bool bTold) {
    m_view = name;
    m_bTold = bTold;
}

bool DisplayWall::IsOpen() const {
    return m_console && m_console->IsFullScreen();
}

void DisplayWall::Open(const QScreen& display) {
    m_host.move(display.geometry().topLeft());  // it may have come back elsewhere
    m_console->BeginWall(WallStart::FullScreen);
}

void DisplayWall::Close() {
    KeepView();
    m_console->Logout();
    m_console->UncoverDisplay();
}

// The cells are kept by the console itself.
void DisplayWall::KeepView() {
    if (m_console->IsLoggedIn()) {
        const std::string sequence = m_console->Sequence();
        SetView(sequence.empty() ? m_console->View() : sequence, false);
        Registry().WriteProfileString(Section(), kSequence, sequence);
    }
}

void DisplayWall::Follow(const std::optional<RecorderLogin>& login, bool bLocked) {
    if (!login) {
        KeepView();
        m_console->Logout();
        return;
    }
    auto mine = m_console->Login();
    const bool bSame = mine == login;
    if (mine) {
        Wipe(mine->password);
    }
    if (bLocked) {
        m_console->BeginWall(WallStart::Locked);
    }
    if (!bSame) {
        OpenView();
        m_console->FollowLogin(*login);
    }
}

void DisplayWall::OpenView() {
    const std::string wanted = std::exchange(m_view, {});
    if (wanted.empty() || m_console->OpenView(wanted) || !m_bTold) {
        return;
    }
    const std::string name = OutsideLine(wanted);
    std::fprintf(stderr, "kvmon: there is no view named %s\n", name.c_str());
    m_console->ShowMessage(FillPattern(LoadString(kStrWallHasNoView), {name}), LoadString(kStrWallWarning));
}

void DisplayWall::OnShared(SharedThing thing) {
    m_console->OnShared(thing);
}

void DisplayWall::TellOthers(SharedThing thing) {
    if (m_console) {
        m_owner.OnWallTells(*this, thing);
    }
}

LookChoice DisplayWall::GetLook() const {
    return m_owner.Browser().GetLook();
}

std::unique_ptr<BrowserWindow> DisplayWall::CreateBrowserWindow() {
    return m_owner.Browser().CreateBrowserWindow();
}

void DisplayWall::OpenPage(const std::string& url) {
    m_owner.Browser().OpenPage(url);
}

}  // namespace kvmon
