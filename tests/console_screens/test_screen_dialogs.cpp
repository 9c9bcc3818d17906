// In full screen: what opens is seen, has the keyboard and goes along.
#include <gmock/gmock.h>

#include <QtGui/QWindow>
#include <QtWidgets/QDialog>
#include <QtWidgets/QMessageBox>

#include "../channel/test_frames.h"
#include "channel/camera/base_camera.h"
#include "console/dialogs/settings_dlg.h"
#include "screens_fixture.h"
#include "server/server_messages.h"
#include "support/fake_recorder.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using kvtest::Screens;
using testing::ElementsAre;
using testing::SizeIs;

// What opens in full screen opens above it, and goes along when it ends.
TEST_F(Screens, DialogsOpenAboveThePanelThatTheUserSees) {
    FakeRecorder recorder("Hall", 10);
    recorder.SetDocument("command=16", kvtest::HttpReply(200, "OK", "0"));
    Registry().WriteProfileInt("Hall", "ManualInputSnapeshotFilename", 1);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    Command(kCmdEvents);
    Command(kCtlFullScreen);
    ASSERT_THAT(Panels(), SizeIs(1));
    CFSPanel* const panel = Panels()[0];
    const auto dialogs = [](const QWidget* host) {
        int count = 0;
        for (const QWidget* const widget : QApplication::topLevelWidgets()) {
            count +=
                widget->isVisible() && widget->parentWidget() == host && widget->windowType() == Qt::Dialog;
        }
        return count;
    };
    EXPECT_EQ(dialogs(panel), 1);  // the events were open before
    Command(kCtlOptions);          // of these two there is one at a time
    EXPECT_EQ(dialogs(panel), 2);
    panel->findChild<CSettingsDlg*>()->reject();
    Pump();
    int expected = 1;
    for (const int id : {+kCtlLanguage, +kCtlSequentialInterval, +kCtlPipSettings, +kCmdDiskStatus, +kCmdEMap,
                         +kCmdPresetDialog, +kCtlRecorders}) {
        Command(id);
        EXPECT_EQ(dialogs(panel), ++expected) << id;
    }
    Key(*panel, Qt::Key_F1);
    EXPECT_EQ(dialogs(panel), ++expected);
    Command(kCtlSnapshot);  // there is no picture yet: a box tells
    EXPECT_EQ(dialogs(panel), ++expected);
    auto frame = kvtest::MakePlainFrame(320, 200, {90, 120, 150});
    ChannelPicture& picture = Cell(0).GetCamera()->Picture();
    picture.SetBitmapInfo(frame->Info());
    picture.Present(std::move(frame));
    Command(kCtlSnapshot);  // asks for the name
    EXPECT_EQ(dialogs(panel), ++expected);
    Cell(0).GetCamera()->SetTalkCapability(1, 1);
    Command(kCtlTalk);
    ++expected;  // the wait in the talk's place, over all
    EXPECT_TRUE(PumpUntil([&] { return dialogs(panel) == expected; }));
    EXPECT_EQ(dialogs(console.get()), 0);
    for (const int id : {+kCtlMainMenu, +kCtlPageMenu}) {
        Command(id);
        QWidget* const menu = QApplication::activePopupWidget();
        ASSERT_NE(menu, nullptr) << id;
        EXPECT_EQ(menu->parentWidget(), panel);
        EXPECT_TRUE(Cell(0).rect().contains(Cell(0).mapFromGlobal(menu->pos()))) << id;
        menu->close();
        Pump();
    }
    Command(kCtlFullScreen);
    ExpectAllHome();
    EXPECT_EQ(dialogs(console.get()), expected);

    // On the second display the presets stand beside the cell that they are about.
    for (QDialog* const dialog : console->findChildren<QDialog*>()) {
        dialog->reject();
    }
    Command(kCtlMultiScreens);
    ASSERT_THAT(Panels(), SizeIs(1));
    console->Parts().view.ActivateWindow(&Cell(5));
    Command(kCmdPresetDialog);
    EXPECT_EQ(dialogs(Panels()[0]), 1);
}

TEST_F(Screens, AWaitIsSeenWhereTheWallIs) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    const auto wait = [](const QWidget& host) -> QWidget* {
        auto* const found = host.findChild<QWidget*>("waitDialog", Qt::FindDirectChildrenOnly);
        return found != nullptr && found->isVisible() ? found : nullptr;
    };
    Command(kCtlFullScreen);
    ASSERT_THAT(Panels(), SizeIs(1));
    CFSPanel* const panel = Panels()[0];
    console->ShowWait();
    ASSERT_NE(wait(*panel), nullptr);
    const QPoint middle = wait(*panel)->geometry().center();
    EXPECT_EQ(panel->childAt(middle)->window(), panel);
    EXPECT_LE((middle - panel->rect().center()).manhattanLength(), 2);
    // It goes where the wall goes, and stays for as long as it takes.
    Key(*panel, Qt::Key_Escape);
    ExpectAllHome();
    ASSERT_NE(wait(*console), nullptr);
    EXPECT_LE((wait(*console)->geometry().center() - console->rect().center()).manhattanLength(), 2);
    Command(kCtlFullScreen);
    ASSERT_THAT(Panels(), SizeIs(1));
    EXPECT_NE(wait(*Panels()[0]), nullptr);
    EXPECT_EQ(wait(*console), nullptr);
    console->HideWait();
    EXPECT_EQ(wait(*Panels()[0]), nullptr);
    console->ShowWait();
    Close();  // with the wait open in full screen
}

// What a window manager does when a dialog goes: it gives the keyboard to the program's main window.
TEST_F(Screens, TheHiddenConsoleHandsTheKeyboardOn) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    Command(kCtlFullScreen);
    ASSERT_THAT(Panels(), SizeIs(1));
    QWidget* const panel = Panels()[0];
    ASSERT_TRUE(PumpUntil([&] { return panel->isActiveWindow(); }));
    const auto activateConsole = [this] {
        bool bHadIt = false;
        QObject life;
        QObject::connect(qGuiApp, &QGuiApplication::focusWindowChanged, &life, [&](const QWindow* window) {
            bHadIt = bHadIt || window == console->windowHandle();
        });
        console->activateWindow();
        EXPECT_TRUE(PumpUntil([&] { return bHadIt; }));
    };
    activateConsole();
    EXPECT_TRUE(PumpUntil([&] { return panel->isActiveWindow(); }));
    // A box that must be answered comes first.
    for (int i = 0; i < 7; ++i) {
        console->SendMessage(WM_GETVSINFO_FAILED, kFailedAuthorization, 0);
    }
    Pump();
    auto* const box = panel->findChild<QMessageBox*>();
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(PumpUntil([&] { return box->isActiveWindow(); }));
    activateConsole();
    EXPECT_TRUE(PumpUntil([&] { return box->isActiveWindow(); }));
    box->reject();
    EXPECT_TRUE(PumpUntil([&] { return panel->isActiveWindow(); }));
    // The session is over: the key that began full screen ends it all the same, and the console keeps the
    // keyboard.
    Key(*panel, Qt::Key_F11);
    ExpectAllHome();
    EXPECT_TRUE(PumpUntil([&] { return console->isActiveWindow(); }));
}

TEST_F(Screens, PagesOfABrowserAreNotOpenedBehindThePanel) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    site.events.clear();
    console->SetHelpURL("http://127.0.0.1/help.html");
    const std::pair<int, const char*> pages[] = {{kCtlCameraHome, "open http://10.0.0.1:80/"},
                                                 {kCtlCameraSettings, "camsetting.cgi"},
                                                 {kCtlGotoPage1, "page 1"}};
    for (const auto& [id, event] : pages) {
        Command(kCtlFullScreen);
        ASSERT_THAT(Panels(), SizeIs(1));
        site.events.clear();
        Command(id);
        EXPECT_THAT(site.events, ElementsAre(testing::HasSubstr(event)));
        ExpectAllHome();
    }
    Command(kCtlFullScreen);
    Key(*Panels()[0], Qt::Key_F2);
    ExpectAllHome();
    // An address that no browser would get leaves all as it is.
    console->SetHelpURL("file:///etc/passwd");
    Command(kCtlFullScreen);
    Key(*Panels()[0], Qt::Key_F2);
    EXPECT_THAT(Panels(), SizeIs(1));
}
