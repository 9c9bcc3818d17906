// What the console makes of what recorders tell.
#include <gmock/gmock.h>

#include <QtWidgets/QComboBox>
#include <QtWidgets/QMessageBox>
#include <fstream>
#include <iterator>

#include "channel/camera/base_camera.h"
#include "console/settings/multi_server_list.h"
#include "console_fixture.h"
#include "persist/log_file.h"
#include "persist/string_table.h"
#include "server/kelvara_info.h"
#include "server/server_messages.h"
#include "skin/xskin_static.h"
#include "support/fake_recorder.h"

using namespace kvmon;
using kvtest::FakeChannel;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class ConsoleBinding : public kvtest::ConsoleTest {
protected:
    QStringList MessageTexts() {
        QStringList texts;
        for (const QMessageBox* const box : console->findChildren<QMessageBox*>()) {
            texts << box->text();
        }
        return texts;
    }
    // Lets a refresh that the recorder asks for arrive.
    void Change(FakeRecorder& recorder, std::vector<FakeChannel> channels) {
        ASSERT_TRUE(recorder.WaitForListener());
        recorder.SetChannels(std::move(channels));
        recorder.Notify("2\n");
    }
    void Save(const std::vector<SavedServer>& servers) { SaveServerList(Registry(), "Hall", servers); }
    static SavedServer At(const FakeRecorder& recorder, std::uint32_t count = 0) {
        return {"", "127.0.0.1", recorder.Port(), "admin", "secret", count};
    }
};

}  // namespace

TEST_F(ConsoleBinding, PendingBitIsSignExtended) {
    EXPECT_EQ(PendingBit(1), 2u);
    EXPECT_EQ(PendingBit(31), 0xFFFFFFFF80000000u);
    EXPECT_EQ(PendingBit(33), 2u);
}

TEST_F(ConsoleBinding, ThreadsOfANewChannelKnowItsNumber) {
    ASSERT_TRUE(LogFile().Open(folder.File("trace")));
    FakeRecorder recorder("Hall", 2);
    Open(recorder.Port());
    Close();
    LogFile().Open(folder.File("none/at/all"));
    std::ifstream file(folder.File("trace"));
    const std::string trace(std::istreambuf_iterator<char>(file), {});
    EXPECT_THAT(trace, HasSubstr("StartVideoThread: m_uCHInMainDlg=0,"));
    EXPECT_THAT(trace, HasSubstr("StartVideoThread: m_uCHInMainDlg=1,"));
    EXPECT_THAT(trace, testing::Not(HasSubstr("m_uCHInMainDlg=4294967295")));
}

TEST_F(ConsoleBinding, RenamedAddedAndLostChannels) {
    FakeRecorder recorder("Hall", 2);
    Open(recorder.Port());
    const auto first = console->Parts().cameras.GetCameraByChannel(0);

    Change(recorder, {{"Gate"}, {"Channel 2"}, {"Yard"}});
    ASSERT_TRUE(PumpUntil([&] { return ShownNames()[2] == "Yard"; }));
    EXPECT_EQ(ShownNames()[0], "Gate");
    EXPECT_EQ(console->Parts().cameras.GetCameraByChannel(0), first);  // was not made anew

    Change(recorder, {{"Gate"}});
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 1; }));
    EXPECT_THAT(ShownNames(), ElementsAre("Gate", "-", "-", "-"));

    // With another address the channel's object is another one.
    Change(recorder, {{"Gate", true, false}});
    ASSERT_TRUE(PumpUntil([&] {
        const auto camera = console->Parts().cameras.GetCameraByChannel(0);
        return camera && !camera->HasAddress();
    }));
    EXPECT_NE(console->Parts().cameras.GetCameraByChannel(0), first);
    EXPECT_THAT(ShownNames(), ElementsAre("Gate", "-", "-", "-"));
}

TEST_F(ConsoleBinding, OptionsHideChannels) {
    FakeRecorder recorder("Hall", {{"a"}, {"b", false}, {"c", true, false}, {"d"}});
    Registry().WriteProfileInt("Hall", "ShowNoMonitoringRight", 0);
    Registry().WriteProfileInt("Hall", "ShowNoConfig", 0);
    Open(recorder.Port());
    EXPECT_THAT(ShownNames(), ElementsAre("a", "d", "-", "-"));
    EXPECT_EQ(console->Parts().view.GetShowableCount(), 2);
    // The single style's combo lists those with right and configuration.
    Close();
    Registry().WriteProfileInt("Hall", "ShowNoMonitoringRight", 1);
    Registry().WriteProfileInt("Hall", "ShowNoConfig", 1);
    Open(recorder.Port());
    EXPECT_THAT(ShownNames(), ElementsAre("a", "b", "c", "d"));
    Command(kCtlFirstStyle);
    EXPECT_EQ(console->Parts().view.Combo().count(), 2);
}

TEST_F(ConsoleBinding, NamesAreTextAndNothingElse) {
    const std::string name = "<img src=x>%s%n\xC3\xA4";
    FakeRecorder recorder("..\\Hall/<b>%s", {{name}, {"b"}});
    Open(recorder.Port());
    EXPECT_EQ(ShownNames()[0], name);
    EXPECT_EQ(console->Parts().settings.key, ".._Hall/<b>%s");
    Command(kCtlFirstStyle);
    EXPECT_EQ(console->Parts().view.Combo().itemText(0).toStdString(), name);
    const auto* const title = dynamic_cast<CXSkinStatic*>(console->GetDlgItem(kCtlServerName));
    EXPECT_EQ(title->GetWindowText(), "..\\Hall/<b>%s");
}

TEST_F(ConsoleBinding, SavedServersJoinAndTheViewWaitsForThem) {
    FakeRecorder first("Hall", 3), second("Yard", 5);
    Save({At(first), At(second), At(second)});
    Open(first.Port());
    EXPECT_EQ(console->Parts().recorders.GetServerCount(), 2);
    EXPECT_EQ(console->Parts().binding.GetPendingMask(), 0u);
    EXPECT_EQ(console->Parts().cameras.GetCount(), 8);
    EXPECT_EQ(console->Parts().view.GetShowableCount(), 8);
    EXPECT_THAT(ShownNames(), SizeIs(8));
    EXPECT_EQ(ShownNames()[3], "Channel 1");
    // The list is kept.
    Close();
    EXPECT_THAT(LoadServerList(Registry(), ServerIdentity(At(first))), SizeIs(2));
    EXPECT_EQ(LoadServerList(Registry(), ServerIdentity(At(first)))[1].channelCount, 5u);
}

TEST_F(ConsoleBinding, ServerThatDoesNotAnswerDelaysTheViewOnlySoLong) {
    FakeRecorder first("Hall", 4), second("Yard", 4);
    second.GoSilent();
    Save({At(first), At(second)});
    Start(first.Port());
    ASSERT_TRUE(PumpUntil([&] { return console->IsTimerSet(kTimerPendingServers); }));
    EXPECT_EQ(console->Parts().binding.GetPendingMask(), 2u);
    EXPECT_EQ(console->Parts().cells.GetCount(), 0);
    ASSERT_TRUE(PumpUntil([&] { return !site.titles.empty() && site.titles.back() == "Hall"; }));
    EXPECT_THAT(site.titles, testing::Each(testing::Not(testing::HasSubstr(" - "))));
    console->Parts().binding.BuildView();  // what the timer does after 30 s
    EXPECT_EQ(site.titles.back(), "Hall - 4 channels");
    EXPECT_FALSE(console->IsTimerSet(kTimerPendingServers));
    EXPECT_EQ(console->Parts().binding.GetPendingMask(), 0u);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "Channel 3", "Channel 4"));
}

TEST_F(ConsoleBinding, UpperLimitIsToldOnce) {
    std::vector<std::unique_ptr<FakeRecorder>> recorders;
    std::vector<SavedServer> saved;
    for (int i = 0; i < 4; ++i) {
        recorders.push_back(std::make_unique<FakeRecorder>(i == 0 ? "Hall" : "Yard", 32));
        saved.push_back(At(*recorders.back()));
    }
    Save(saved);
    Open(recorders[0]->Port());
    EXPECT_EQ(console->Parts().view.GetShowableCount(), 128);
    console->Parts().view.UpdateChannelArray();
    ASSERT_THAT(MessageTexts(), SizeIs(1));
    EXPECT_TRUE(MessageTexts()[0].contains("upper limit"));
    console->Parts().styles.SelectCustomStyle(5);
    EXPECT_THAT(ShownNames(), SizeIs(42));
    EXPECT_EQ(console->Parts().view.Combo().count(), 4);
}

TEST_F(ConsoleBinding, RefusedLoginsAreToldAfterSevenAndEndTheSession) {
    FakeRecorder recorder("Hall", 4);
    Start(recorder.Port());
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 4; }));
    CKelvaraInfo& server = *console->Parts().recorders.GetServer(0);
    for (std::uint32_t before = server.GetErrorCount(); before < 6; ++before) {
        console->SendMessage(WM_GETVSINFO_FAILED, kFailedAuthorization, 0);
    }
    EXPECT_THAT(MessageTexts(), IsEmpty());
    console->SendMessage(WM_GETVSINFO_FAILED, kFailedAuthorization, 0);
    ASSERT_THAT(MessageTexts(), SizeIs(1));
    EXPECT_TRUE(MessageTexts()[0].contains("127.0.0.1:" + QString::number(recorder.Port()) + " (Hall)"));
    EXPECT_THAT(site.events, ElementsAre("login", "logout"));
    EXPECT_EQ(console->Parts().cameras.GetCount(), 0);
    console->SendMessage(WM_GETVSINFO_FAILED, kFailedAuthorization, 0);
    EXPECT_THAT(MessageTexts(), SizeIs(1));
    // The wait for the threads ends and the next login works.
    EXPECT_TRUE(PumpUntil([&] { return !console->IsTimerSet(kTimerStopping); }));
    EXPECT_FALSE(console->IsWaitShown());
    console->AutoLogin("admin", "secret");
    EXPECT_TRUE(PumpUntil([&] {
        return ShownNames() == std::vector<std::string>{"Channel 1", "Channel 2", "Channel 3", "Channel 4"};
    }));
}

TEST_F(ConsoleBinding, RefusalByAnotherServerLeavesTheSession) {
    FakeRecorder first("Hall", 2), second("Yard", 2);
    Save({At(first), At(second)});
    Open(first.Port());
    EXPECT_EQ(ShownNames()[2], "Channel 1");
    for (int i = 0; i < 7; ++i) {
        console->SendMessage(WM_GETVSINFO_FAILED, kFailedAuthorization, 1);
    }
    ASSERT_THAT(MessageTexts(), SizeIs(1));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "-", "-"));
    EXPECT_THAT(site.events, ElementsAre("login"));
}

TEST_F(ConsoleBinding, ManyFailuresShowOnThePicture) {
    FakeRecorder recorder("Hall", 1);
    Open(recorder.Port());
    const auto camera = console->Parts().cameras.GetCameraByChannel(0);
    const auto lost = [&] { return camera->Picture().GetMainCaption() == LoadString(57397); };
    ASSERT_TRUE(recorder.WaitForListener());
    recorder.AnswerAll(kvtest::HttpReply(500, "Oops", ""));
    recorder.Notify("2\n");
    EXPECT_TRUE(PumpUntil(lost));
    EXPECT_GT(console->Parts().recorders.GetServer(0)->GetErrorCount(), 11u);
    recorder.AnswerAll("");
    EXPECT_TRUE(PumpUntil([&] { return !lost(); }));
    // A failure that is told late, when the recorder answers again.
    for (int i = 0; i < 12; ++i) {
        console->SendMessage(WM_GETVSINFO_FAILED, kFailedDiskInfo, 0);
    }
    EXPECT_FALSE(lost());
}

TEST_F(ConsoleBinding, MessagesWithForeignNumbersDoNothing) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    for (const LParam server : {LParam(-1), LParam(1), LParam(1) << 40}) {
        for (const WParam code :
             {WParam(0), WParam(1), WParam(2), WParam(3), WParam(4), WParam(5), ~WParam(0)}) {
            console->SendMessage(WM_UPDATEVSINFO, code, server);
            console->SendMessage(WM_GETVSINFO_FAILED, code, server);
        }
    }
    EXPECT_THAT(ShownNames(), SizeIs(4));
    EXPECT_THAT(MessageTexts(), IsEmpty());
}

TEST_F(ConsoleBinding, LogoutEmptiesTheWallAndForgetsCredentials) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    Command(kCtlLogout);
    EXPECT_THAT(ShownNames(), ElementsAre("-", "-", "-", "-"));
    EXPECT_THAT(site.events, ElementsAre("login", "logout"));
    EXPECT_TRUE(PumpUntil([&] { return recorder.CountHeads("/logomark.jpg") == 1; }));
    EXPECT_TRUE(PumpUntil([&] { return !console->IsTimerSet(kTimerStopping); }));
}
