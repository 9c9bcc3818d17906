// The whole console on the offscreen platform, with a recorder that speaks the documents.
#include <gmock/gmock.h>

#include <QtWidgets/QComboBox>
#include <QtWidgets/QMessageBox>

#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "console_fixture.h"
#include "skin/input_messages.h"
#include "skin/xskin_od_button.h"
#include "support/fake_recorder.h"

using namespace kvmon;
using kvtest::FakeChannel;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

class ConsoleView : public kvtest::ConsoleTest {
protected:
    LParam CentreOf(int cell) { return PackPoint(Cell(cell).mapToGlobal(Cell(cell).rect().center())); }
    QComboBox& Combo() { return console->Parts().view.Combo(); }
    void SelectItem(int item) {
        Combo().setCurrentIndex(item);
        console->Parts().view.OnSelchangePage();
    }
    int MessageBoxes() { return static_cast<int>(console->findChildren<QMessageBox*>().size()); }
};

}  // namespace

TEST_F(ConsoleView, LoginShowsFourChannelsInTheViewRectangle) {
    FakeRecorder recorder("Hall", 6);
    Open(recorder.Port());
    EXPECT_THAT(site.events, ElementsAre("login"));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "Channel 3", "Channel 4"));
    EXPECT_EQ(Cell(0).geometry(), QRect(19, 64, 391, 274));
    EXPECT_EQ(Cell(3).geometry(), QRect(19 + 391, 64 + 274, 391, 274));
    EXPECT_TRUE(Cell(0).IsWindowActive());
    EXPECT_FALSE(console->IsWaitShown());
    EXPECT_EQ(Combo().count(), 2);
    EXPECT_EQ(console->Parts().settings.key, "Hall");
    EXPECT_TRUE(console->Parts().controls.IsPressed(StyleButtonId(VIEW_STYLE_4CH)));
    EXPECT_TRUE(console->GetButton(1653)->isEnabled());
    ASSERT_TRUE(PumpUntil([&] { return recorder.StreamRequestCount() >= 4; }));
    EXPECT_TRUE(console->Parts().cameras.GetCameraByChannel(3)->IsVideoRunning());
    // The ticks that watch the start prepare nothing: a camera that is not shown does not stream.
    for (int tick = 0; tick < 3; ++tick) {
        console->SetTimer(kTimerStopping, 0);
        Pump();
    }
    EXPECT_FALSE(console->Parts().cameras.GetCameraByChannel(4)->IsVideoRunning());
    EXPECT_EQ(recorder.StreamRequestCount(), 4);

    SelectItem(1);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 5", "Channel 6", "-", "-"));
    EXPECT_FALSE(console->Parts().cameras.GetCameraByChannel(0)->IsVideoRunning());
    EXPECT_TRUE(console->Parts().cameras.GetCameraByChannel(4)->IsVideoRunning());
}

TEST_F(ConsoleView, EveryStyleIsReachedByItsCommand) {
    FakeRecorder recorder("Hall", 40);
    Open(recorder.Port());
    constexpr int kShown[] = {1, 4, 4, 6, 8, 9, 10, 12};
    for (int style = 0; style < 8; ++style) {
        Command(kCtlFirstStyle + style);
        EXPECT_EQ(console->Parts().view.GetStyle(), style);
        EXPECT_THAT(ShownNames(), SizeIs(kShown[style])) << style;
    }
    console->Parts().styles.SelectCustomStyle(5);
    EXPECT_THAT(ShownNames(), SizeIs(42));
    EXPECT_EQ(ShownNames()[41], "-");
    EXPECT_EQ(ShownNames()[39], "Channel 40");
    EXPECT_TRUE(Combo().isHidden());
    console->Parts().view.ViewStyleChanged(9, {.bUpdateButtons = true});
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_10CH);
    console->Parts().view.ViewStyleChanged(-1, {.bUpdateButtons = true});
    EXPECT_THAT(ShownNames(), SizeIs(10));
}

TEST_F(ConsoleView, SizeOfTheViewFollowsTheButtonAndTheWindow) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    console->resize(1200, 780);
    EXPECT_EQ(Cell(3).geometry().bottomRight(), QRect(19, 64, 982, 648).bottomRight());
    console->resize(1000, 680);
    Command(kCtlViewSize);
    EXPECT_EQ(Cell(0).geometry(), QRect(19 + 40, 64 + 34, 351, 240));
    Command(kCtlFirstStyle);
    EXPECT_EQ(Cell(0).geometry(), QRect(19 + 68, 64 + 20, 647, 508));
    // Other channels' sizes are not this view's.
    console->SendMessage(kMsgSizeChange, 3, 0);
    console->SendMessage(kMsgSizeChange, ~WParam(0), 0);
    EXPECT_EQ(Cell(0).geometry(), QRect(19 + 68, 64 + 20, 647, 508));
    console->Parts().cameras.GetCameraByChannel(0)->Picture().SetBitmapInfo(MakeBitmapInfo(352, 240));
    console->SendMessage(kMsgSizeChange, 0, 0);
    EXPECT_EQ(Cell(0).geometry(), QRect(19 + 213, 64 + 142, 356, 265));
}

TEST_F(ConsoleView, DraggedCellsChangePlaces) {
    FakeRecorder recorder("Hall", 8);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    console->SendMessage(kMsgVideoWndMove, 0, CentreOf(3));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 4", "Channel 2", "Channel 3", "Channel 1"));
    console->SendMessage(kMsgVideoWndMove, 0, PackPoint(console->mapToGlobal(QPoint(900, 600))));
    console->SendMessage(kMsgVideoWndMove, 77, CentreOf(0));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 4", "Channel 2", "Channel 3", "Channel 1"));
    // On the second page the first one's slots are written.
    SelectItem(1);
    console->SendMessage(kMsgVideoWndMove, 4, CentreOf(1));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 5", "Channel 6", "Channel 7", "Channel 8"));
    SelectItem(0);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 6", "Channel 5", "Channel 3", "Channel 1"));
    Command(kCtlOrderReset);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "Channel 3", "Channel 4"));

    Command(kCtlPip);
    console->SendMessage(kMsgVideoWndMove, 0, CentreOf(2));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 3", "Channel 2", "Channel 1", "Channel 4"));
}

TEST_F(ConsoleView, ActiveWindowFollowsTheMouseAndStaysWithItsChannel) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    console->Parts().view.ActivateWindowAt(Cell(2).mapToGlobal(QPoint(50, 50)));
    EXPECT_TRUE(Cell(2).IsWindowActive());
    EXPECT_FALSE(Cell(0).IsWindowActive());
    console->Parts().view.ActivateWindowAt(console->mapToGlobal(QPoint(900, 600)));
    EXPECT_TRUE(Cell(2).IsWindowActive());
    // A new layout keeps the channel the active one.
    Command(StyleButtonId(VIEW_STYLE_9CH));
    Command(StyleButtonId(VIEW_STYLE_4CH));
    EXPECT_TRUE(Cell(2).IsWindowActive());
    Command(kCtlFirstStyle);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 3"));
}

TEST_F(ConsoleView, GoToCamera) {
    FakeRecorder recorder("Hall", 9);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    console->SendMessage(kMsgGoToCamera, 2, 0);
    EXPECT_EQ(ShownNames()[0], "Channel 9");
    console->SendMessage(kMsgGoToCamera, 50, 0);
    EXPECT_EQ(ShownNames()[0], "Channel 1");
    Command(kCtlFirstStyle);
    console->SendMessage(kMsgGoToCamera, 6, 0);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 7"));
    console->SendMessage(kMsgGoToCamera, 999, 0);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 7"));
    console->SendMessage(kMsgRepaintNeighbours, 0, 0);
    console->SendMessage(kMsgRepaintNeighbours, 4242, 0);
}

TEST_F(ConsoleView, SecondPanelShowsTheNextPageAndGivesItsWindowsBack) {
    FakeRecorder recorder("Hall", 10);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    SelectItem(1);
    QWidget panel;
    panel.resize(800, 600);
    panel.show();
    console->Parts().view.SetSecondPanel(&panel);
    // An odd page steps down by one; ten cameras on twice four cells are two pages.
    EXPECT_EQ(Combo().count(), 2);
    EXPECT_THAT(ShownNames(), SizeIs(8));
    EXPECT_EQ(ShownNames()[4], "Channel 5");
    EXPECT_EQ(Cell(4).parentWidget(), &panel);
    SelectItem(1);
    EXPECT_EQ(ShownNames()[0], "Channel 9");
    EXPECT_EQ(ShownNames()[4], "-");
    // Picture-in-picture and a second display exclude each other.
    Command(kCtlPip);
    EXPECT_FALSE(console->Parts().view.HasSecondPanel());
    EXPECT_EQ(Cell(4).parentWidget(), console.get());
    EXPECT_TRUE(panel.findChildren<CVideoWnd*>().isEmpty());
}

TEST_F(ConsoleView, FullScreenPanelHostsAllThatIsShown) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    QWidget panel;
    panel.resize(1280, 800);
    panel.show();
    console->Parts().view.SetFullScreenPanel(&panel);
    console->Parts().view.ViewStyleChanged(VIEW_STYLE_4CH);
    EXPECT_EQ(Cell(3).geometry(), QRect(640, 400, 640, 400));
    EXPECT_EQ(Cell(3).parentWidget(), &panel);
    console->Parts().view.SetFullScreenPanel(nullptr);
    console->Parts().view.ViewStyleChanged(VIEW_STYLE_4CH);
    EXPECT_EQ(Cell(3).parentWidget(), console.get());
    EXPECT_EQ(Cell(3).geometry(), QRect(19 + 391, 64 + 274, 391, 274));
}

TEST_F(ConsoleView, ViewComesBackAfterARestart) {
    FakeRecorder recorder("Hall", 10);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    console->SendMessage(kMsgVideoWndMove, 0, CentreOf(1));
    Command(StyleButtonId(VIEW_STYLE_8CH));
    console->SendMessage(kMsgVideoWndMove, 7, CentreOf(0));
    SelectItem(1);
    Command(kCtlViewSize);
    Close();

    Open(recorder.Port());
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_8CH);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 9", "Channel 10", "-", "-", "-", "-", "-", "-"));
    EXPECT_FALSE(console->Parts().view.IsMaxViewMode());
    SelectItem(0);
    EXPECT_EQ(ShownNames()[0], "Channel 8");
    Command(StyleButtonId(VIEW_STYLE_4CH));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 2", "Channel 1", "Channel 3", "Channel 4"));

    Command(kCtlFirstStyle);
    SelectItem(6);
    Close();
    Open(recorder.Port());
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 7"));
}

TEST_F(ConsoleView, StoredNonsenseStillGivesAView) {
    FakeRecorder recorder("Hall", 10);
    const std::vector<std::uint8_t> noise(3000, 0xA7);
    for (const std::string list : {"4ChList", "8ChList", "12ChList", "CustomChannelStyle\\6x7ChList"}) {
        Registry().WriteProfileBinary("Hall", list, noise);
        Registry().WriteProfileInt("Hall", list + "CurPageIdx", 0xFFFFFFFF);
        Registry().WriteProfileInt("Hall", list + "CurActIdx", 0x80000000);
    }
    Registry().WriteProfileBinary("Hall", "PinInPicList", noise);
    Registry().WriteProfileInt("Hall", "PIPChildChannel", 0xFFFFFFFF);
    Registry().WriteProfileInt("Hall", "PageIdx", 0x7FFFFFFF);
    Registry().WriteProfileInt("Hall\\CustomChannelStyle", "Style", 0xFFFFFFFE);
    for (const std::uint32_t style : {0u, 1u, 4u, 8u, 9u, 0xFFFFFFFFu}) {
        Registry().WriteProfileInt("Hall", "ViewStyle", style);
        Open(recorder.Port());
        EXPECT_FALSE(ShownNames().empty()) << style;
        EXPECT_NE(ShownNames()[0], "-") << style;
        Close();
    }
}

TEST_F(ConsoleView, NoCameraAndOneCamera) {
    FakeRecorder none("Hall", 0);
    Open(none.Port());
    EXPECT_THAT(ShownNames(), ElementsAre("-", "-", "-", "-"));
    Command(kCtlFirstStyle);
    EXPECT_THAT(ShownNames(), ElementsAre("-"));
    console->Parts().styles.SelectCustomStyle(3);
    EXPECT_THAT(ShownNames(), SizeIs(25));
    Close();

    FakeRecorder one("Hall", 1);
    Open(one.Port());
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "-", "-", "-"));
    EXPECT_EQ(MessageBoxes(), 0);
    Command(kCtlPip);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "-"));
}

TEST_F(ConsoleView, HandlesOutliveWindowsAndCameras) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    const WindowHandle handle = console->Handle();
    const auto camera = console->Parts().cameras.GetCameraByChannel(0);
    const std::weak_ptr<CBaseCamera> other = console->Parts().cameras.GetCameraByChannel(1);
    Close();
    EXPECT_FALSE(handle.Post(WM_COMMAND, 1651, 0));
    EXPECT_FALSE(camera->GetVideoWnd().Post(kMsgCaptionRefresh, 0, 0));
    camera->StartPlaying(PlaySound::Yes);
    camera->PausePlaying();
    EXPECT_TRUE(other.expired());
}
