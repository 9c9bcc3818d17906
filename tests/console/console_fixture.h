// A console of its own for a test, with its settings in a folder that goes away.
#pragma once

#include <QtWidgets/QWidget>
#include <memory>
#include <string>
#include <vector>

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/console_parts.h"
#include "console/main_dlg.h"
#include "console/ports/client_site.h"
#include "console/ports/console_messages.h"
#include "console/settings/multi_server_list.h"
#include "settings_fixture.h"
#include "support/fake_clock.h"
#include "support/qt_pump.h"
#include "support/silent_site.h"

namespace kvtest {

// Notes what the control would tell its page.
class TestSite final : public SilentSite {
public:
    std::uint32_t GetServerPort() const override { return port; }
    bool HasDesktop() const override { return bDesktop; }
    void NotifyLogin(int) override { events.push_back("login"); }
    void NotifyLogout(int) override { events.push_back("logout"); }
    void NotifyGotoPage(int n) override { events.push_back("page " + std::to_string(n)); }
    void NotifyGotoServer(int n, const std::string& text) override {
        events.push_back("server " + std::to_string(n) + " " + text);
    }
    void OpenPage(const std::string& url) override { events.push_back("open " + url); }
    void ShowTitle(const std::string& text) override { titles.push_back(text); }

    std::uint32_t port = 0;
    bool bDesktop = false;
    std::vector<std::string> events;
    std::vector<std::string> titles;
};

class ConsoleTest : public SettingsTest {
protected:
    ~ConsoleTest() override { Close(); }

    // A console logged in to the port, with its view built.
    kvmon::CMainDlg& Open(std::uint16_t port) {
        Start(port);
        EXPECT_TRUE(PumpUntil([&] { return console->Parts().cells.GetCount() > 0; }));
        Pump();
        return *console;
    }
    kvmon::CMainDlg& Start(std::uint16_t port) { return Start(port, clock); }
    kvmon::CMainDlg& Start(std::uint16_t port, kvmon::Clock& ownClock) {
        site.port = port;
        console = std::make_unique<kvmon::CMainDlg>(site, nullptr, 0x0409, ownClock);
        console->OnInitDialog();
        console->show();
        console->AutoLogin("admin", "secret");
        return *console;
    }
    void Close() { console.reset(); }

    kvmon::CVideoWnd& Cell(int n) { return *console->Parts().cells.Get(n); }
    // The name shown by each visible cell, in the order of the windows.
    std::vector<std::string> ShownNames() {
        std::vector<std::string> names;
        for (int n = 0; n < console->Parts().cells.GetCount(); ++n) {
            const kvmon::CVideoWnd* const cell = console->Parts().cells.Get(n);
            if (cell != nullptr && !cell->isHidden()) {
                const auto camera = cell->GetCamera();
                names.push_back(camera ? camera->GetCameraName() : "-");
            }
        }
        return names;
    }
    void Command(int id) {
        console->Press(id);
        Pump();
    }

    // The recorders' threads wait by it, so that no login pauses for the second that it does.
    FakeClock clock{kvmon::Milliseconds(1)};
    TestSite site;
    std::unique_ptr<kvmon::CMainDlg> console;
};

}  // namespace kvtest
