// What the page asks of its browser: which operations of the port follow from which command.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "control/client.h"
#include "control/host_ports.h"
#include "persist/log_file.h"
#include "support/scripted_server.h"
#include "support/temp_folder.h"
#include "support/wait_until.h"

using namespace kvmon;
using kvtest::Peer;
using kvtest::ScriptedServer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

struct Browser final : BrowserPort {
    bool HasWindow() const override { return bWindow; }
    void Quit() override { log += "quit "; }
    void SetState(BrowserState state) override { Note("state", static_cast<int>(state)); }
    void ShowWindow(bool b) override { Note("show", b); }
    void RemoveClose() override { log += "-close "; }
    void RemoveSizing() override { log += "-sizing "; }
    void RestoreSystemMenu() override { log += "menu "; }
    void SetCaption(bool b) override { Note("caption", b); }
    void SetAppWindow(bool b) override { Note("app", b); }
    void SetToolWindow(bool b) override { Note("tool", b); }
    void UpdateWindow() override { log += "update "; }
    void PutToolBar(bool b) override { Note("toolbar", b); }
    void PutMenuBar(bool b) override { Note("menubar", b); }
    void PutStatusBar(bool b) override { Note("statusbar", b); }
    void PutAddressBar(bool b) override { Note("addressbar", b); }
    void FitToControl(const QSize& size) override { Note("fit", size.width()); }
    void PutTitle(const std::string& title) override { log += "title=" + title + " "; }
    void PutTitleFromLocation() override { log += "location "; }

    void Note(const std::string& what, int value) { log += what + "=" + std::to_string(value) + " "; }

    bool bWindow = true;
    std::string log;
};

struct BrowserCommand : testing::Test {
    BrowserCommand() {
        LogFile().Open(folder.File("trace"));
        impl.SetClientSite(&browser);
    }

    std::string Run(int id, const Variant& param = {}) {
        browser.log.clear();
        EXPECT_EQ(impl.IEHostUIControl(id, param), 0);
        return browser.log;
    }
    std::string Traces() const {
        std::ifstream file(folder.File("trace"));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    kvtest::TempFolder folder;
    Browser browser;
    CTR450ClientImpl impl{SystemClock()};
};

}  // namespace

TEST_F(BrowserCommand, EachIsTheTableOfItsNumber) {
    const struct {
        int id;
        Variant param;
        const char* calls;
        bool bWindow;  // of the browser's window
    } rows[] = {
        {0x401, {}, "quit ", false},
        {0x411, 0, "state=0 ", true},
        {0x411, 1, "state=1 ", true},
        {0x411, 2, "state=2 ", true},
        {0x411, 3, "", true},
        {0x411, -1, "", true},
        {0x411, std::string("1"), "state=0 ", true},  // only numbers are values
        {0x411, OtherValue{2}, "state=0 ", true},
        {0x412, 5, "show=1 ", true},
        {0x412, {}, "show=0 ", true},
        {0x413, 0, "-close ", true},
        {0x413, 1, "menu ", true},
        {0x414, 0, "-sizing ", true},
        {0x414, -1, "menu ", true},
        {0x415, 0, "app=0 tool=1 update ", true},
        {0x415, 1, "app=1 tool=0 update ", true},
        {0x421, 7, "toolbar=1 ", false},
        {0x422, 0, "menubar=0 ", false},
        {0x423, 1, "statusbar=1 ", false},
        {0x424, 0, "addressbar=0 ", false},
        {0x425, 0, "caption=0 ", true},
        {0x425, 2, "caption=1 ", true},
        {0x426, {}, "fit=-1 ", false},
        {0x600, {}, "location ", false},
        {0x601, std::string("<b>%s"), "title=<b>%s ", false},
        {0x601, 5, "", false},
        {0x501, 5, "", false},
        {0x400, 1, "", false},
        {0x602, 1, "", false},
        {-1, 1, "", false},
    };
    for (const auto& row : rows) {
        browser.bWindow = true;
        EXPECT_EQ(Run(row.id, row.param), row.calls) << std::hex << row.id;
        browser.bWindow = false;
        EXPECT_EQ(Run(row.id, row.param), row.bWindow ? "" : row.calls) << std::hex << row.id;
    }
    EXPECT_THAT(Traces(), HasSubstr("CTR450ClientImpl::IEHostUIControl: nID = 1025\n"));
    EXPECT_EQ(FittedBrowserSize({1000, 680}, {8, 30}), QSize(1020, 730));

    impl.ShowBrowserToolbar(false);
    EXPECT_EQ(browser.log, "toolbar=0 ");
    impl.SetClientSite(nullptr);
    EXPECT_EQ(impl.IEHostUIControl(0x401, {}), std::nullopt);
    impl.ShowBrowserToolbar(true);
    EXPECT_EQ(impl.CreateBrowserWindow(), nullptr);
}

TEST_F(BrowserCommand, LogoutAsksTheAddressAndNothingElse) {
    ScriptedServer server([](Peer& peer) {
        peer.ReadHead();
        peer.Hold();  // the answer is of no interest
    });
    const std::string host = "127.0.0.1:" + std::to_string(server.Port());
    Run(0x501, "http://" + host + "/cgi-bin/logout.cgi?user=a%0d%0ab&x=1 2#part");
    ASSERT_TRUE(server.WaitForHeads(1));
    EXPECT_THAT(server.Heads(),
                ElementsAre("GET /cgi-bin/logout.cgi?user=a%0d%0ab&x=1%202 HTTP/1.0\r\nAccept: */*\r\n"
                            "User-Agent: Logout IE Procedure\r\nHost: " +
                            host + "\r\nCache-Control: no-cache\r\nPragma: no-cache\r\n\r\n"));
    for (const char* const wrong : {"https://127.0.0.1/", "ftp://127.0.0.1/", "javascript:alert(1)", "", "/x",
                                    "http://a b/", "http://127.0.0.1/\r\nX: y"}) {
        EXPECT_EQ(Run(0x501, std::string(wrong)), "");
    }
    std::string traces = Traces();
    std::size_t refusals = 0;
    for (std::size_t at = 0;
         (at = traces.find("Fail on resolve URL: can only use URLs beginning with http:\n", at)) !=
         std::string::npos;
         ++at) {
        ++refusals;
    }
    EXPECT_EQ(refusals, 7u);
    EXPECT_THAT(traces, Not(HasSubstr("ERROR!")));

    Run(0x501, "http://127.0.0.1:" + std::to_string(kvtest::UnusedPort()) + "/");
    EXPECT_TRUE(kvtest::WaitUntil([&] { return Traces().find("ERROR!  ") != std::string::npos; }));
    for (int i = 0; i < 20; ++i) {
        Run(0x501, "http://" + host + "/more");
    }
    EXPECT_TRUE(server.WaitForHeads(4));
    EXPECT_THAT(Traces(), HasSubstr("ERROR!  too many requests at once\n"));
    EXPECT_LE(server.ConnectionCount(), 4);
}

TEST_F(BrowserCommand, ALogoutGoesOutWhenThePageLeavesAtOnce) {
    ScriptedServer server([](Peer& peer) {
        peer.ReadHead();
        peer.Write("HTTP/1.0 200 OK\r\n\r\n");
    });
    {
        CTR450ClientImpl leaving(SystemClock());
        leaving.SetClientSite(&browser);
        leaving.IEHostUIControl(0x501, "http://127.0.0.1:" + std::to_string(server.Port()) + "/bye");
    }
    EXPECT_EQ(server.Heads().size(), 1u);
    EXPECT_EQ(Worker::AbandonedCount(), 0);
}
