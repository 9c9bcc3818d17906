// A session that has ended is ended everywhere: nothing shows or uses what belonged to it.
#include <gmock/gmock.h>

#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>

#include "codec/jpeg_codec.h"
#include "console/camera/ptz_panel.h"
#include "console/events/event_window.h"
#include "console/settings/multi_server_list.h"
#include "console/site/disk_status_dlg.h"
#include "console/site/emap_dlg.h"
#include "console_fixture.h"
#include "persist/utilities.h"
#include "server/kelvara_info.h"
#include "server/server_messages.h"
#include "skin/xskin_od_button.h"
#include "skin/xskin_static.h"
#include "support/fake_recorder.h"

using namespace kvmon;
using namespace kvtest;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class SessionEnd : public ConsoleTest {
protected:
    static SavedServer At(const FakeRecorder& recorder, const std::string& password = "secret") {
        return {"", "127.0.0.1", recorder.Port(), "admin", password, 0};
    }
    static void Save(const std::vector<SavedServer>& servers) { SaveServerList(Registry(), "Hall", servers); }
    std::string Head(int id) { return dynamic_cast<CXSkinStatic*>(console->GetDlgItem(id))->GetWindowText(); }
    template <typename Widget>
    Widget* Visible(const char* name) {
        for (QWidget* const widget : QApplication::allWidgets()) {
            if (widget->objectName() == QLatin1String(name) && widget->isVisible()) {
                return qobject_cast<Widget*>(widget);
            }
        }
        return nullptr;
    }
    QString Notice() {
        const auto* const label = Visible<QLabel>("wallNotice");
        return label != nullptr ? label->text() : QString();
    }
    QString Line() { return console->findChild<QLabel*>("statusLine")->text(); }
    // Dialogs that were closed are gone.
    void Settle() {
        Pump();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    QList<QMessageBox*> Boxes() {
        Settle();
        return console->findChildren<QMessageBox*>();
    }
    // A command that comes by no button.
    void Post(int id) {
        Settle();
        console->PostMessage(WM_COMMAND, static_cast<WParam>(id), 0);
        Pump();
    }
    void TurnOption(const char* id) {
        Post(kCtlOptions);
        auto* const dialog = Visible<QDialog>("settingsDialog");
        ASSERT_NE(dialog, nullptr);
        dialog->findChild<QCheckBox*>(id)->toggle();
        QPushButton* const ok = dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
        ASSERT_TRUE(PumpUntil([ok] { return ok->isEnabled(); }));
        ok->click();
        Pump();
    }
    void Refuse(int server) {
        for (int i = 0; i < 7; ++i) {
            console->SendMessage(WM_GETVSINFO_FAILED, kFailedAuthorization, server);
        }
    }
};

std::string MapBytes() {
    const BITMAPINFOHEADER info = MakeBitmapInfo(300, 200);
    std::vector<std::uint8_t> file;
    EXPECT_EQ(SaveJpegMemory(file, info, std::vector<std::uint8_t>(info.biSizeImage, 0x40), 90, true),
              nullptr);
    return {file.begin(), file.end()};
}

}  // namespace

TEST_F(SessionEnd, LogoutLeavesNothingOfIt) {
    FakeRecorder recorder("Hall", 20);
    recorder.SetDocument("emap_show.cgi", HttpReply(200, "OK", "<b>Ground floor</b>"));
    recorder.SetDocument("emap.jpg", HttpReply(200, "OK", MapBytes()));
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_9CH));
    console->Parts().view.TurnPage(1);
    console->Parts().sequential.SetInterval(3600000);
    Command(kCtlSequential);
    Post(kCmdEMap);
    Post(kCmdDiskStatus);
    Post(kCmdEvents);
    Post(kCtlRecorders);
    Post(kCtlPipSettings);
    console->Parts().screens.SetFullScreen(true);
    Command(kCtlSequentialInterval);
    ASSERT_TRUE(Visible<QWidget>("emapDialog") && Visible<QWidget>("diskStatus") &&
                Visible<QDialog>("recordersDialog") && Visible<QDialog>("pipDialog") &&
                Visible<QDialog>("intervalDialog"));
    EXPECT_EQ(Head(kCtlServerName), "Hall");

    // As the page calls it; the console's button also tells the page.
    console->Logout();
    Pump();
    EXPECT_FALSE(console->IsLoggedIn());
    EXPECT_FALSE(console->Parts().sequential.IsOn() || console->Parts().controls.IsPressed(kCtlSequential));
    EXPECT_EQ(Head(kCtlServerName) + Head(kCtlServerModel), "");
    EXPECT_THAT(ShownNames(), Each("-"));
    EXPECT_TRUE(console->Parts().view.Combo().isHidden());
    for (const int id : {+kCtlSnapshot, +kCtlRecord, +kCtlTalk, 1801, 1809, 1811}) {
        EXPECT_FALSE(console->Parts().controls.Get(id).shown) << id;
    }
    EXPECT_FALSE(console->GetButton(kCtlFirstStyle)->isEnabled());
    EXPECT_TRUE(console->GetButton(kCtlLogout)->isEnabled());
    EXPECT_FALSE(Visible<QWidget>("emapDialog") || Visible<QDialog>("recordersDialog") ||
                 Visible<QDialog>("pipDialog") || Visible<QDialog>("intervalDialog") ||
                 Visible<QWidget>("diskStatus"));
    EXPECT_THAT(console->Parts().events.Events().All(), IsEmpty());
    EXPECT_EQ(console->Parts().recorders.GetServer(0)->GetUser() +
                  console->Parts().recorders.GetServer(0)->GetPassword(),
              "");
    // Full screen says so, too, as soon as the wait is over.
    ASSERT_TRUE(PumpUntil([&] { return Notice() == "You are not logged in."; }));
    EXPECT_EQ(Visible<QLabel>("wallNotice")->window()->objectName(), "screenPanel");

    // Whatever is opened or pressed then asks the recorder for nothing.
    const std::string login = MakeBasicAuth("admin", "secret");
    const int before = recorder.CountHeads(login);
    for (const int id : {kCmdEMap, kCmdDiskStatus, kCmdEvents, +kCtlRecorders, +kCtlSequential}) {
        Post(id);
    }
    console->Parts().binding.ChangeServers({At(recorder, "other")});
    TurnOption("1503");
    TurnOption("1512");
    console->Parts().events.OnTimer();
    console->SendMessage(WM_UPDATEVSINFO, WM_UPDATEVSINFO_CAMERACONN, 0);
    EXPECT_FALSE(PumpUntil([&] { return recorder.CountHeads(login) > before; }, milliseconds(300)));
    EXPECT_EQ(console->Parts().recorders.GetServerCount(), 1);
    EXPECT_THAT(ShownNames(), Each("-"));
    EXPECT_EQ(Registry().GetProfileInt("Hall", "ShowNoConfig", 9), 0u);  // the option alone is changed

    // The next session comes to the wall as it was left.
    console->AutoLogin("admin", "secret");
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 20; }));
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_9CH);
    EXPECT_EQ(ShownNames()[0], "Channel 10");
    EXPECT_EQ(console->Parts().view.Combo().count(), 3);
    EXPECT_EQ(Head(kCtlServerName), "Hall");
    EXPECT_EQ(Notice(), "");
}

TEST_F(SessionEnd, AnotherUserHasNeitherTheCamerasNorTheRecordersOfTheLast) {
    FakeRecorder first("Hall", 2), second("Yard", 3);
    Save({At(first), At(second)});
    Open(first.Port());
    ASSERT_EQ(console->Parts().cameras.GetCount(), 5);
    // At once, and without a logout before.
    console->AutoLogin("guest", "word");
    EXPECT_THAT(ShownNames(), Each("-"));
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 2; }));
    EXPECT_EQ(console->Parts().recorders.GetServerCount(), 1);
    EXPECT_EQ(second.CountHeads(MakeBasicAuth("guest", "word")), 0);
    console->Logout();
    console->AutoLogin("admin", "secret");
    EXPECT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 5; }));
    EXPECT_THAT(LoadServerList(Registry(), ServerIdentity(At(first))), SizeIs(2));
}

TEST_F(SessionEnd, CamerasThatAreListedLaterGetTheirCells) {
    FakeRecorder recorder("Hall", 6);
    Open(recorder.Port());
    console->Logout();
    ASSERT_TRUE(PumpUntil([&] { return !console->Parts().recorders.GetServer(0)->IsRunning(); }));
    TurnOption("1512");
    console->AutoLogin("admin", "secret");
    ASSERT_TRUE(PumpUntil([&] { return Line().startsWith("Connected to Hall"); }));
    EXPECT_TRUE(PumpUntil([&] { return ShownNames()[3] == "Channel 4"; }));
    EXPECT_EQ(console->Parts().view.GetShowableCount(), 6);
    // A message that finds a wrong count mends it.
    console->Parts().view.OnSessionEnd();
    console->Parts().view.Orders().SetTotalCount(0);
    console->SendMessage(WM_UPDATEVSINFO, WM_UPDATEVSINFO_CAMERACONN, 0);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "Channel 3", "Channel 4"));
    EXPECT_EQ(console->Parts().view.Combo().count(), 2);
}

TEST_F(SessionEnd, ARecorderThatRefusedStaysStoppedUntilItsPasswordChanges) {
    FakeRecorder first("Hall", 2), second("Yard", 2);
    Save({At(first), At(second)});
    Open(first.Port());
    ASSERT_EQ(console->Parts().cameras.GetCount(), 4);
    second.RefuseLogins(true);
    Refuse(1);
    ASSERT_THAT(Boxes(), SizeIs(1));
    // Not even its streams are asked for.
    EXPECT_EQ(console->Parts().cameras.GetCount(), 2);
    ASSERT_TRUE(PumpUntil([&] { return !console->Parts().recorders.GetServer(1)->IsRunning(); }));
    PumpUntil([] { return false; }, milliseconds(100));  // for a request that was on its way
    const int before = second.CountHeads("GET ");
    TurnOption("1512");
    TurnOption("1511");
    Command(kCtlFirstStyle);
    Command(StyleButtonId(VIEW_STYLE_4CH));
    console->Logout();
    console->AutoLogin("admin", "secret");
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 2; }));
    EXPECT_FALSE(PumpUntil([&] { return second.CountHeads("GET ") > before; }, milliseconds(300)));

    second.RefuseLogins(false);
    console->Parts().binding.ChangeServers({At(second, "better")});
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 4; }));
    EXPECT_TRUE(PumpUntil([&] { return Boxes().isEmpty(); }));
}

TEST_F(SessionEnd, ABoxAboutARefusalNamesWhatIsKnownAndGoesWithTheNextLogin) {
    FakeRecorder recorder("Hall", 2);
    recorder.RefuseLogins(true);
    Start(recorder.Port());
    Refuse(0);
    ASSERT_THAT(Boxes(), SizeIs(1));
    const QString address = "127.0.0.1:" + QString::number(recorder.Port());
    EXPECT_TRUE(Boxes()[0]->text().contains(address + " refused")) << Boxes()[0]->text().toStdString();
    ASSERT_TRUE(PumpUntil([&] { return Notice() == address + " refused the user name or the password"; }));
    EXPECT_EQ(Line(), Notice());
    recorder.RefuseLogins(false);
    console->AutoLogin("admin", "right");
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 2; }));
    EXPECT_TRUE(PumpUntil([&] { return Boxes().isEmpty(); }));
}

TEST_F(SessionEnd, ARecorderWithoutChannelsHasAViewOfItsOwn) {
    FakeRecorder first("Hall", 0), second("Yard", 2);
    Open(first.Port());
    EXPECT_FALSE(console->IsWaitShown());
    EXPECT_TRUE(PumpUntil([&] {
        return Notice() ==
               "The recorder Hall has no channels.\nAdd cameras at the recorder. They appear here by "
               "themselves.";
    })) << Notice().toStdString();
    EXPECT_TRUE(console->Parts().controls.IsPressed(StyleButtonId(VIEW_STYLE_4CH)));
    Post(kCtlOptions);
    ASSERT_TRUE(Visible<QDialog>("settingsDialog") != nullptr);
    Visible<QDialog>("settingsDialog")->reject();
    Post(kCtlRecorders);
    ASSERT_TRUE(Visible<QDialog>("recordersDialog") != nullptr);
    Visible<QDialog>("recordersDialog")->reject();
    console->Parts().binding.ChangeServers({At(second)});
    ASSERT_TRUE(PumpUntil([&] { return ShownNames()[1] == "Channel 2"; }));
    EXPECT_TRUE(PumpUntil([&] { return Notice().isEmpty(); }));
}
