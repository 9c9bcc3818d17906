// The console on two displays: A, and B of twice the resolution to its right.
#include <gmock/gmock.h>

#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLabel>

#include <filesystem>

#include "../channel/test_frames.h"
#include "app/desktop_window.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/channel_view.h"
#include "console/views/view_switch.h"
#include "console/wall/fs_panel.h"
#include "screens_fixture.h"
#include "skin/input_messages.h"
#include "skin/xskin_od_button.h"
#include "support/fake_recorder.h"
#include "support/qt_ui_watchdog.h"

const bool kvtest::kHasScreens = qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" KV_SCREENS_FILE);

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using kvtest::ScreenAt;
using kvtest::Screens;
using testing::ElementsAre;
using testing::SizeIs;

TEST_F(Screens, FullScreenCoversTheConsolesDisplay) {
    FakeRecorder recorder("Hall", 6);
    Open(recorder.Port());
    console->move(1400, 20);
    Command(kCtlFullScreen);
    ASSERT_THAT(Panels(), SizeIs(1));
    CFSPanel& panel = *Panels()[0];
    EXPECT_EQ(panel.geometry(), ScreenAt(1).geometry());
    EXPECT_EQ(panel.devicePixelRatio(), 2);
    EXPECT_EQ(panel.windowTitle(), "KelvaraMonitor Full Screen");
    EXPECT_EQ(ShownOn(&panel), 4);
    EXPECT_EQ(Cell(3).geometry(), QRect(512, 384, 512, 384));
    EXPECT_TRUE(console->GetButton(kCtlFullScreen)->GetCheck() == BST_CHECKED);
    EXPECT_EQ(QColor(panel.grab().toImage().pixel(0, 0)), QColor(Cell(0).grab().toImage().pixel(0, 0)));

    // The console's other commands go on inside.
    Key(panel, Qt::Key_A);
    Command(kCtlFirstStyle);
    EXPECT_EQ(ShownOn(&panel), 1);
    EXPECT_EQ(Cell(0).geometry(), panel.rect());
    Command(StyleButtonId(VIEW_STYLE_6CH));
    EXPECT_EQ(ShownOn(&panel), 6);
    // 768 is a multiple of 3, 1024 is not. Beside the cells and between them nothing shines.
    EXPECT_EQ(panel.grab().toImage().pixel(2047, 10), 0xff000000u);
    EXPECT_EQ(Cell(1).grab().toImage().pixel(0, 100), 0xff000000u);

    Key(panel, Qt::Key_Escape);
    ExpectAllHome();
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_6CH);
    EXPECT_EQ(ShownOn(console.get()), 6);
    EXPECT_NE(Cell(1).grab().toImage().pixel(0, 100), 0xff000000u);
    EXPECT_FALSE(console->GetButton(kCtlFullScreen)->GetCheck() == BST_CHECKED);
    // Without full screen the key does nothing, the double click is the single style's command.
    Key(*console, Qt::Key_Escape);
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_6CH);

    // A double click into a picture shows it alone, and the next one all again. Beside the pictures it is a
    // way back, as the button is.
    Command(kCtlFullScreen);
    DoubleClick(Cell(2).View(), {50, 50});
    ASSERT_THAT(Panels(), SizeIs(1));
    EXPECT_EQ(ShownOn(Panels()[0]), 1);
    DoubleClick(Cell(0).View(), {50, 50});
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_6CH);
    EXPECT_EQ(ShownOn(Panels()[0]), 6);
    DoubleClick(*Panels()[0], {1023, 5});
    ExpectAllHome();
    Command(kCtlFullScreen);
    EXPECT_THAT(Panels(), SizeIs(1));
    Command(kCtlFullScreen);
    ExpectAllHome();
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_6CH);
}

TEST_F(Screens, TheSecondDisplayShowsThePageAfter) {
    FakeRecorder recorder("Hall", 10);
    Open(recorder.Port());
    EXPECT_EQ(console->Parts().cells.GetCount(), 84);
    Command(StyleButtonId(VIEW_STYLE_4CH));
    EXPECT_EQ(console->Parts().view.Combo().count(), 3);
    console->Parts().view.Combo().setCurrentIndex(1);
    console->Parts().view.OnSelchangePage();

    Command(kCtlMultiScreens);
    ASSERT_THAT(Panels(), SizeIs(1));
    CFSPanel& second = *Panels()[0];
    EXPECT_EQ(second.geometry(), ScreenAt(1).geometry());
    EXPECT_EQ(console->Parts().view.GetDisplayCount(), 2);
    // Ten cameras on eight places; the odd page stepped down.
    EXPECT_EQ(console->Parts().view.Combo().count(), 2);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "Channel 3", "Channel 4", "Channel 5",
                                          "Channel 6", "Channel 7", "Channel 8"));
    EXPECT_EQ(ShownOn(console.get()), 4);
    EXPECT_EQ(ShownOn(&second), 4);
    EXPECT_EQ(Cell(7).geometry(), QRect(512, 384, 512, 384));

    // Full screen on the console's display goes with it.
    Command(kCtlFullScreen);
    EXPECT_THAT(Panels(), SizeIs(2));
    EXPECT_EQ(ShownOn(&second), 4);
    EXPECT_EQ(ShownOn(console.get()), 0);
    Key(second, Qt::Key_Escape);
    EXPECT_EQ(ShownOn(console.get()), 4);
    EXPECT_EQ(ShownOn(&second), 4);

    // Single pictures: the active camera and the next.
    Command(kCtlFirstStyle);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 5", "Channel 6"));
    EXPECT_EQ(Cell(1).geometry(), second.rect());

    // Off, and from the last display the panel opens on the one before.
    Command(kCtlMultiScreens);
    ExpectAllHome();
    EXPECT_EQ(console->Parts().view.GetDisplayCount(), 1);
    console->move(1300, 0);
    Command(kCtlMultiScreens);
    ASSERT_THAT(Panels(), SizeIs(1));
    EXPECT_EQ(Panels()[0]->geometry(), ScreenAt(0).geometry());
    DoubleClick(*Panels()[0], {1, 1});
    ExpectAllHome();
    EXPECT_EQ(ShownOn(console.get()), 1);
}

TEST_F(Screens, ANamedViewBringsBackWhatBothDisplaysShowed) {
    FakeRecorder recorder("Hall", 10);
    Open(recorder.Port());
    ViewSwitch& views = console->Parts().views;
    Command(StyleButtonId(VIEW_STYLE_4CH));
    Command(kCtlMultiScreens);
    console->Parts().view.Combo().setCurrentIndex(1);
    console->Parts().view.OnSelchangePage();
    const std::vector<std::string> pages = ShownNames();
    EXPECT_THAT(pages, testing::Contains("Channel 10"));
    ASSERT_TRUE(views.Save("Pages"));
    Command(kCtlFirstStyle);
    console->Parts().view.TurnPage(1);
    const std::vector<std::string> pair = ShownNames();
    ASSERT_THAT(pair, SizeIs(2));
    ASSERT_TRUE(views.Save("Pair"));

    Command(kCtlMultiScreens);
    ExpectAllHome();
    Command(StyleButtonId(VIEW_STYLE_9CH));
    Command(kCtlOrderReset);
    for (int times = 0; times < 2; ++times) {
        ASSERT_TRUE(console->OpenView("Pages"));
        Pump();
        EXPECT_EQ(ShownNames(), pages);
        ASSERT_THAT(Panels(), SizeIs(1));
        EXPECT_EQ(ShownOn(Panels()[0]), 4);
        ASSERT_TRUE(console->OpenView("Pair"));
        Pump();
        EXPECT_EQ(ShownNames(), pair);
        ASSERT_THAT(Panels(), SizeIs(1));
        EXPECT_EQ(ShownOn(Panels()[0]), 1);
    }
}

TEST_F(Screens, PictureInPictureAndTheSecondDisplayExcludeEachOther) {
    FakeRecorder recorder("Hall", 6);
    Open(recorder.Port());
    Command(kCtlMultiScreens);
    ASSERT_THAT(Panels(), SizeIs(1));
    Command(kCtlPip);
    ExpectAllHome();
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_PIP);
    Command(kCtlMultiScreens);
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_SINGLE_1CH);
    EXPECT_THAT(Panels(), SizeIs(1));
    EXPECT_THAT(ShownNames(), SizeIs(2));
    // With one camera left there is nothing for the second display.
    recorder.SetChannels({{"Door"}});
    recorder.Notify("(null)\r\n");
    console->Parts().session.OnBtnLogout();
    Pump();
    ExpectAllHome();
    EXPECT_EQ(console->Parts().view.GetDisplayCount(), 1);
}

TEST_F(Screens, ADisplayThatGoesReturnsItsWindows) {
    FakeRecorder recorder("Hall", 10);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    Command(kCtlMultiScreens);
    ASSERT_THAT(Panels(), SizeIs(1));
    emit qGuiApp->screenRemoved(&ScreenAt(1));
    Pump();
    ExpectAllHome();
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "Channel 3", "Channel 4"));
    EXPECT_FALSE(console->Parts().screens.IsMultiDisplayAvailable());
    Command(kCtlMultiScreens);
    EXPECT_THAT(Panels(), SizeIs(0));

    emit qGuiApp->screenAdded(&ScreenAt(1));
    EXPECT_TRUE(console->Parts().screens.IsMultiDisplayAvailable());
    Pump();
    EXPECT_THAT(Panels(), SizeIs(0)) << "the command has taken back the wish";
    console->move(1300, 0);
    Command(kCtlFullScreen);
    Command(kCtlMultiScreens);
    ASSERT_THAT(Panels(), SizeIs(2));
    // The console's own display goes: the one it moves to must be free.
    emit qGuiApp->screenRemoved(&ScreenAt(1));
    Pump();
    ExpectAllHome();
    EXPECT_FALSE(console->GetButton(kCtlFullScreen)->GetCheck() == BST_CHECKED);
    emit qGuiApp->screenAdded(&ScreenAt(1));
}

TEST_F(Screens, TheCellsGrowInNumberWhenASecondDisplayComes) {
    FakeRecorder recorder("Hall", 10);
    Start(recorder.Port());
    emit qGuiApp->screenRemoved(&ScreenAt(1));
    const CellPool& cells = console->Parts().cells;
    ASSERT_TRUE(PumpUntil([&] { return cells.GetCount() > 0; }));
    EXPECT_EQ(cells.GetCount(), 42);
    emit qGuiApp->screenAdded(&ScreenAt(1));
    EXPECT_EQ(cells.GetCount(), 84);
    Command(StyleButtonId(VIEW_STYLE_4CH));
    Command(kCtlMultiScreens);
    ASSERT_THAT(Panels(), SizeIs(1));
    EXPECT_EQ(ShownOn(Panels()[0]), 4);
    EXPECT_EQ(ShownOn(console.get()), 4);
}

TEST_F(Screens, FullScreenAndTheWindowsPlaceComeBackTheNextTime) {
    FakeRecorder recorder("Hall", 6);
    Open(recorder.Port());
    Command(kCtlFullScreen);
    ASSERT_THAT(Panels(), SizeIs(1));
    Close();
    EXPECT_THAT(Panels(), SizeIs(0));
    Open(recorder.Port());
    ASSERT_THAT(Panels(), SizeIs(1));
    EXPECT_EQ(Panels()[0]->geometry(), ScreenAt(0).geometry());
    EXPECT_EQ(console->GetButton(kCtlFullScreen)->GetCheck(), BST_CHECKED);
    Key(*Panels()[0], Qt::Key_Escape);
    Close();
    Open(recorder.Port());
    EXPECT_THAT(Panels(), SizeIs(0));
    Close();

    const QRect onSecond(1290, 30, 1010, 700);
    {
        DesktopWindow window{AppOptions()};
        window.show();
        window.setGeometry(onSecond);
    }
    {
        DesktopWindow window{AppOptions()};
        window.show();
        EXPECT_EQ(window.geometry(), onSecond);
        window.setGeometry(5000, 5000, 1000, 680);
        emit qGuiApp->screenRemoved(&ScreenAt(1));
        Pump();
        EXPECT_EQ(window.geometry(), QRect(0, 0, 1000, 680));
        emit qGuiApp->screenAdded(&ScreenAt(1));
        window.showMaximized();
        Pump();
    }
    DesktopWindow window{AppOptions()};
    window.show();
    EXPECT_TRUE(window.isMaximized());
}

TEST_F(Screens, TheInterfaceIsNeverBlocked) {
    FakeRecorder recorder("Hall", 42);
    Registry().WriteProfileString("Hall", "SanpshotFolder", folder.File("shots"));
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_12CH));
    ChannelPicture& picture = Cell(0).GetCamera()->Picture();
    auto large = kvtest::MakePlainFrame(3840, 2160, {90, 120, 150});
    picture.SetBitmapInfo(large->Info());
    picture.Present(std::move(large));
    Pump();
    auto& watchdog = kvtest::WatchedApplication::Instance();
    watchdog.ForgetLongest();
    for (const int id : {+kCtlFullScreen, +kCtlMultiScreens, +kCtlFirstStyle, StyleButtonId(VIEW_STYLE_12CH),
                         +kCtlFullScreen, +kCtlMultiScreens, +kCtlSnapshot}) {
        console->Press(id);
        PumpUntil([] { return false; }, std::chrono::milliseconds(50));
    }
    EXPECT_TRUE(PumpUntil([&] { return std::filesystem::is_directory(folder.File("shots")); }));
    RecordProperty("LongestWaitMs", std::to_string(watchdog.LongestWaitMs()));
    RecordProperty("LongestWorkMs", std::to_string(watchdog.LongestWorkMs()));
    EXPECT_LE(watchdog.LongestWaitMs(), kvtest::UiWaitLimitMs()) << watchdog.LongestWait();
    EXPECT_LE(watchdog.LongestWorkMs(), kvtest::kUiWorkLimitMs) << watchdog.LongestWork();
}

TEST_F(Screens, BothDisplaysSayThatTheSessionIsOver) {
    FakeRecorder recorder("Hall", 8);
    Open(recorder.Port());
    Command(kCtlMultiScreens);
    Command(kCtlFullScreen);
    ASSERT_THAT(Panels(), SizeIs(2));
    console->Logout();  // the page's call leaves the displays as they are
    const auto says = [](const CFSPanel* panel) {
        const auto* const notice = panel->findChild<QLabel*>("wallNotice");
        return notice != nullptr && notice->isVisible() && notice->rect() == panel->rect() &&
               notice->text() == "You are not logged in.";
    };
    EXPECT_TRUE(PumpUntil([&] {
        const auto panels = Panels();
        return panels.size() == 2 && says(panels[0]) && says(panels[1]);
    }));
}

TEST_F(Screens, CellsAreDraggedWithinTheirDisplay) {
    FakeRecorder recorder("Hall", 8);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    Command(kCtlMultiScreens);
    ASSERT_THAT(Panels(), SizeIs(1));
    const auto drag = [this](int from, int to) {
        QWidget& held = Cell(from).View();
        const auto send = [&held](QEvent::Type type, Qt::MouseButton button, const QPoint& at) {
            kvtest::SendMouseAt(held, type, at, button,
                                type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton);
        };
        const QPoint start = held.mapToGlobal(held.rect().center());
        const QPoint end = Cell(to).mapToGlobal(Cell(to).rect().center());
        send(QEvent::MouseButtonPress, Qt::LeftButton, start);
        send(QEvent::MouseMove, Qt::NoButton, start + QPoint(20, 0));
        send(QEvent::MouseMove, Qt::NoButton, end);
        const bool bMarked = Cell(to).findChild<QWidget*>("dropMark") != nullptr;
        send(QEvent::MouseButtonRelease, Qt::LeftButton, end);
        Pump();
        return bMarked;
    };
    EXPECT_TRUE(drag(0, 1));
    // Each display has a page of its own, and places are changed within a page.
    EXPECT_FALSE(drag(0, 6));
    EXPECT_FALSE(drag(7, 1));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 2", "Channel 1", "Channel 3", "Channel 4", "Channel 5",
                                          "Channel 6", "Channel 7", "Channel 8"));
    Command(kCtlFullScreen);
    EXPECT_TRUE(drag(0, 2));
    EXPECT_FALSE(drag(0, 6));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 3", "Channel 1", "Channel 2", "Channel 4", "Channel 5",
                                          "Channel 6", "Channel 7", "Channel 8"));
}
