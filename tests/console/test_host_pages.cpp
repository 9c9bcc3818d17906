// Pages in browsers beside the console: which address, and how its window is used.
#include <gmock/gmock.h>

#include "console/site/help_window.h"
#include "console/site/web_page.h"
#include "console_fixture.h"
#include "support/silent_site.h"

using namespace kvmon;

namespace {

struct Log {
    std::string text;
    bool bWindow = true;  // its user has not closed it
};

struct FakeBrowser final : BrowserWindow {
    explicit FakeBrowser(Log& l) : log(l) {}
    ~FakeBrowser() override { log.text += "quit "; }
    bool IsWindow() const override { return log.bWindow; }
    void HideBars() override { log.text += "bars "; }
    void Navigate(const std::string& url) override { log.text += url + " "; }
    void Show() override { log.text += "show "; }
    Log& log;
};

struct Site final : kvtest::SilentSite {
    std::unique_ptr<BrowserWindow> CreateBrowserWindow() override {
        log.text += "new ";
        log.bWindow = true;
        return std::make_unique<FakeBrowser>(log);
    }
    std::string OwnHelp() const override { return helpOfProgram; }
    Log log;
    std::string helpOfProgram;
};

class HelpWindowTest : public kvtest::ConsoleTest {
protected:
    std::string Open(const std::string& url, int topic) {
        own.log.text.clear();
        help.Open(url, topic);
        return own.log.text;
    }

    Site own;
    HelpWindow help{own};
};

}  // namespace

TEST_F(HelpWindowTest, IsOneThatIsUsedAgain) {
    // The first page of all is asked for twice.
    EXPECT_EQ(Open("http://h/eng/help.html", 0),
              "new bars http://h/eng/help.html#monitor http://h/eng/help.html#monitor show ");
    EXPECT_EQ(Registry().GetProfileInt("Client", "SkipOnce", 7), 1u);
    const char* const topics[] = {"monitor",        "playback",  "cfg_system",    "cfg_network",
                                  "cfg_ipsecurity", "cfg_user",  "cfg_camera",    "cfg_recording",
                                  "cfg_snapshot",   "cfg_event", "cfg_statistic", "cfg_systool"};
    for (int topic = 0; topic < 12; ++topic) {
        EXPECT_EQ(Open("http://h/x", topic), std::string("http://h/x#") + topics[topic] + " show ");
    }
    own.log.bWindow = false;
    EXPECT_EQ(Open("https://h/x", 1), "quit new bars https://h/x#playback show ");
    for (const int topic : {-1, 12}) {
        EXPECT_EQ(Open("http://h/x", topic), "");
    }
    EXPECT_EQ(Open("http://h/our help/50%/eng/help.html", 0),
              "http://h/our%20help/50%25/eng/help.html#monitor show ");
    for (const char* const url : {"", "http://a b/x", "file:///etc/a b", "file:///etc/passwd",
                                  "javascript:alert(1)", "http:///x", "/x"}) {
        EXPECT_EQ(Open(url, 0), "") << url;
    }
    own.log.text.clear();
    help.Close();
    help.Close();
    EXPECT_EQ(own.log.text, "quit ");
}

TEST_F(HelpWindowTest, IsTheProgramsOwnWhereNoneIsToldFromOutside) {
    Registry().WriteProfileInt("Client", "SkipOnce", 1);
    own.helpOfProgram = "file:///usr/share/help/eng/help.html";
    EXPECT_EQ(Open("", 0), "new bars file:///usr/share/help/eng/help.html#monitor show ");
    EXPECT_EQ(Open("http://h/x", 0), "http://h/x#monitor show ");
    // What comes from outside does not turn into it.
    EXPECT_EQ(Open("file:///usr/share/help/eng/help.html", 0), "");
    EXPECT_EQ(Open("", 12), "");
}

TEST(HostPages, AddressesAreThoseOfWebPages) {
    EXPECT_EQ(CameraPageUrl("10.0.0.3", 8080, "/"), "http://10.0.0.3:8080/");
    EXPECT_EQ(CameraPageUrl("10.0.0.3", 80, "view"), "http://10.0.0.3:80/view");
    EXPECT_EQ(CameraPageUrl("h", 80, "/a", "u", "p"), "http://u:p@h:80/a");
    EXPECT_EQ(CameraPageUrl("h", 80, "a", "u", ""), "http://u@h:80/a");
    EXPECT_EQ(CameraPageUrl("h", 80, "/a", "", "p"), "http://h:80/a");
    EXPECT_EQ(CameraPageUrl("h", 80, "/a", "u@x:/", "p%s"), "http://u%40x%3A%2F:p%25s@h:80/a");
    EXPECT_EQ(CameraPageUrl("", 80, "/") + CameraPageUrl("h", 80, ""), "");

    for (const char* const page : {"http://h", "https://h:1/a?b#c", "http://u:p@10.0.0.3:80/"}) {
        EXPECT_TRUE(IsWebPage(page)) << page;
    }
    for (const char* const other :
         {"", "h", "//h/x", "file:///x", "ftp://h/", "http://", "http://a b/", "http://h:99999/", "-x",
          "javascript://h/%0aalert(1)", "data:text/html,x", "http://h/\"$(x)\" y"}) {
        EXPECT_FALSE(IsWebPage(other)) << other;
    }
    EXPECT_FALSE(IsWebPage("http://h/" + std::string(5000, 'a')));
}

TEST(StopWatchTest, GivesUpWithThe31stTick) {
    StopWatch watch;
    for (int round = 0; round < 2; ++round) {
        watch.Reset();
        for (int tick = 1; tick <= 30; ++tick) {
            EXPECT_FALSE(watch.Tick(false)) << tick;
        }
        EXPECT_TRUE(watch.Tick(false));
    }
    watch.Reset();
    EXPECT_TRUE(watch.Tick(true));
}
