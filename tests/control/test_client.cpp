// The control without a session. With one it is tested by the program's own tests.
#include <gmock/gmock.h>

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <utility>

#include "console/main_dlg.h"
#include "control/client.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "persist/utilities.h"
#include "support/scripted_server.h"
#include "support/temp_folder.h"

using namespace kvmon;
using testing::ElementsAre;

namespace {

struct ClientSink final : ClientEvents {
    explicit ClientSink(std::vector<std::string>& eventLog) : log(eventLog) {}
    void OnLogout(int n) override { log.push_back("logout " + std::to_string(n)); }
    void OnNeedGetNewVersion(int n) override { log.push_back("version " + std::to_string(n)); }
    void OnLogin(int n) override { log.push_back("login " + std::to_string(n)); }
    void OnLoginEnd() override { log.push_back("login end"); }
    void OnChgLanguage(int n) override { log.push_back("language " + std::to_string(n)); }
    void OnGotoPage(int n) override { log.push_back("page " + std::to_string(n)); }
    void OnGotoServer(int, const std::string& url) override { log.push_back("server " + url); }
    std::vector<std::string>& log;
};

class ClientTest : public testing::Test {
protected:
    ClientTest() {
        SetDataFolder(folder.Path());
        RegistryApp app;
        app.databasePath = folder.File("settings.db");
        Registry().InitRegistry(false, app);
        // Nothing answers there: the tests are about the control.
        client.Impl().SetServerPort(kvtest::UnusedPort());
    }

    kvtest::TempFolder folder;
    CTR450Client client;
    std::vector<std::string> log;
    ClientSink sink{log};
};

}  // namespace

TEST_F(ClientTest, PropertiesKeepWhatTheyAreGiven) {
    CTR450ClientImpl& impl = client.Impl();
    EXPECT_EQ(impl.GetServerIP(), "127.0.0.1");
    impl.PutServerPort(70000);
    EXPECT_EQ(impl.GetServerPort(), 70000u);
    impl.SetServerPort(70000);
    EXPECT_EQ(impl.GetServerPort(), 80u);
    impl.SetServerPort(-1);
    EXPECT_EQ(impl.GetServerPort(), 80u);
    impl.SetDefServerName("100%s");
    EXPECT_EQ(impl.GetDefServerName(), "100%s");
    EXPECT_EQ(impl.GetLanguage(), 0);
    impl.ChangeSize(640, 900);
    EXPECT_EQ(impl.GetSize(), QSize(1000, 900));
}

TEST_F(ClientTest, WithoutAWindowNothingHappens) {
    client.Connect(&sink);
    EXPECT_EQ(client.Impl().Login("u", "p"), -1);
    client.Impl().NotifyLogin(0);
    client.Impl().NotifyGotoServer(1, "http://x");
    client.Impl().Logout();
    QCoreApplication::processEvents();
    EXPECT_THAT(log, ElementsAre());
}

TEST_F(ClientTest, EventsComeLaterInTheOrderOfTheirConnections) {
    std::vector<std::string> gone;
    ClientSink goneSink(gone);
    const std::size_t connection = client.Connect(&goneSink);
    client.Connect(&sink);
    client.Disconnect(connection);
    client.CreateControlWindow(nullptr);

    client.Impl().NotifyLogin(0);
    client.Impl().NotifyNewVersion(3);
    client.Impl().NotifyGotoPage(2);
    client.Impl().NotifyChangeLanguage(0x0407);
    client.ControlWindow()->PostMessage(WM_CLIENT_FIRE_EVENT, 5, 0);
    EXPECT_THAT(log, ElementsAre());
    client.Impl().NotifyGotoServer(1, "http://x");
    EXPECT_THAT(log, ElementsAre("server http://x"));
    QCoreApplication::processEvents();
    EXPECT_THAT(log, ElementsAre("server http://x", "login 0", "version 3", "page 2", "language 6"));
    EXPECT_THAT(gone, ElementsAre());
}

TEST_F(ClientTest, AutoStartNeedsAWholeCredential) {
    client.Connect(&sink);
    client.Impl().SetAutoStart(1);
    client.Impl().SetAuthData(EncodeBasicAuth("no colon"));
    client.CreateControlWindow(nullptr);
    QCoreApplication::processEvents();
    EXPECT_THAT(log, ElementsAre());
    client.Impl().AutoLogin(EncodeBasicAuth("u:p"));
    QCoreApplication::processEvents();
    EXPECT_THAT(log, ElementsAre("login 0"));
}

TEST_F(ClientTest, OnlyAnotherLanguageMakesTheConsoleAnew) {
    client.CreateControlWindow(nullptr);
    const CMainDlg* const before = client.Impl().MainDlg();
    EXPECT_TRUE(client.Impl().SetLanguage(client.Impl().GetLanguage()));
    EXPECT_EQ(client.Impl().MainDlg(), before);
    client.Impl().ChangeSize(1200, 800);
    EXPECT_TRUE(client.Impl().SetLanguage(6));
    EXPECT_TRUE(client.Impl().HasMainDlg());
    EXPECT_EQ(client.Impl().GetSize(), QSize(1200, 800));
}

// A login that another language ends is told; one that goes on in the new console, or was ended before, is
// not.
TEST_F(ClientTest, ALoginThatALanguageEndsIsTold) {
    client.Connect(&sink);
    client.CreateControlWindow(nullptr);
    CTR450ClientImpl& impl = client.Impl();
    const auto told = [&] {
        QCoreApplication::processEvents();
        return std::exchange(log, {});
    };
    impl.SetLanguage(5);
    EXPECT_THAT(told(), ElementsAre());
    impl.Login("u", "p");
    impl.SetLanguage(6);
    EXPECT_THAT(told(), ElementsAre("login 0", "login end"));
    impl.SetLanguage(5);
    EXPECT_THAT(told(), ElementsAre());
    impl.Login("u", "p");
    impl.Logout();
    impl.SetLanguage(6);
    EXPECT_THAT(told(), ElementsAre("login 0"));
    impl.SetAutoStart(1);
    impl.SetAuthData(EncodeBasicAuth("u:p"));
    impl.Login("u", "p");
    impl.SetLanguage(5);
    EXPECT_THAT(told(), ElementsAre("login 0", "login 0"));
    impl.SetAuthData("no credential");
    impl.SetLanguage(6);
    EXPECT_THAT(told(), ElementsAre("login end"));
}

TEST_F(ClientTest, LanguagesThatComeWhileADialogIsOpenWaitAndTheLastOneCounts) {
    client.CreateControlWindow(nullptr);
    CTR450ClientImpl& impl = client.Impl();
    const CMainDlg* const before = impl.MainDlg();
    const int language = impl.GetLanguage();
    const CMainDlg* inside = nullptr;
    const auto chooseInDialog = [&](std::initializer_list<int> languages) {
        QEventLoop loop;  // the program's own
        QTimer::singleShot(0, &loop, [&] {
            QDialog dialog(client.ControlWindow());
            QTimer::singleShot(0, &dialog, [&] {
                for (const int each : languages) {
                    impl.SetLanguage(each);
                }
            });
            EXPECT_EQ(dialog.exec(), QDialog::Rejected);
            inside = impl.MainDlg();
            QTimer::singleShot(0, &loop, &QEventLoop::quit);
        });
        loop.exec();
        QCoreApplication::processEvents();
    };
    chooseInDialog({6, language});
    EXPECT_EQ(impl.MainDlg(), before);
    EXPECT_EQ(impl.GetLanguage(), language);
    chooseInDialog({6});
    EXPECT_EQ(inside, before);
    EXPECT_TRUE(impl.HasMainDlg());
    EXPECT_FALSE(client.ControlWindow()->IsTimerSet(kTimerSwitchLanguage));
}

TEST_F(ClientTest, AWindowWithoutAConsoleSaysSo) {
    client.Impl().SetLanguage(6);  // before there is a window: the texts alone
    EXPECT_NE(LoadString(1108), "Please wait...");
    WindowBase& window = client.CreateControlWindow(nullptr);
    window.show();
    window.resize(1300, 640);
    QCoreApplication::processEvents();
    EXPECT_EQ(client.Impl().GetSize(), QSize(1300, 680));
    EXPECT_EQ(client.Impl().MainDlg()->geometry(), QRect(0, 0, 1300, 680));

    client.Impl().Destroy();
    EXPECT_EQ(LoadString(1108), "Please wait...");  // the language's module has gone with it
    const QImage picture = window.grab().toImage();
    int white = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const bool bText = picture.pixelColor(x, y) != QColor(Qt::black);
            white += bText ? 1 : 0;
            ASSERT_TRUE(!bText || (std::abs(x - 650) < 300 && std::abs(y - 320) < 20)) << x << "," << y;
        }
    }
    EXPECT_GT(white, 200);
    client.Impl().NotifyLogin(0);  // nobody hears of it any more
    client.Impl().ChangeSize(1100, 700);
    EXPECT_FALSE(client.Impl().HasMainDlg());
}
