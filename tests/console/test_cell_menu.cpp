// The menu of a cell and what hangs on it, in a console whose recorder knows no steerable camera.
#include <gmock/gmock.h>

#include <QtGui/QKeyEvent>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QPushButton>

#include "channel/base_camera.h"
#include "channel/camera_menu.h"
#include "channel/ptz_request.h"
#include "console/cell_menu.h"
#include "console_fixture.h"
#include "support/fake_recorder.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;

namespace {

std::vector<std::string> Entries(const QMenu& menu) {
    std::vector<std::string> texts;
    for (const QAction* const entry : menu.actions()) {
        texts.push_back(entry->isSeparator() ? "-" : entry->text().toStdString());
    }
    return texts;
}

class CellMenuTest : public kvtest::ConsoleTest {
protected:
    QMenu* OpenMenu() {
        QKeyEvent key(QEvent::KeyPress, Qt::Key_F10, Qt::ShiftModifier);
        QApplication::sendEvent(console.get(), &key);
        return qobject_cast<QMenu*>(QApplication::activePopupWidget());
    }
    QDialog* Presets() { return console->window()->findChild<QDialog*>(QStringLiteral("presetDialog")); }
};

}  // namespace

TEST(CameraMenu, HoldsWhatTheCameraCan) {
    CameraInfo info;
    BCMenu nothing;
    BuildCameraMenu(nothing, info);
    EXPECT_TRUE(nothing.isEmpty());

    info.bZoomable = info.bHome = true;
    info.dwPresetMask = 1u << 1 | 1u << 9;
    info.presetNames[1] = "Gate && yard";
    BCMenu menu;
    menu.AppendMenu(0, 1, "first");
    BuildCameraMenu(menu, info);
    EXPECT_THAT(Entries(menu), ElementsAre("first", "-", "PTZ", "Preset"));
    EXPECT_THAT(Entries(*menu.actions()[2]->menu()), ElementsAre("Home", "Zoom in", "Zoom out"));
    const QMenu& presets = *menu.actions()[3]->menu();
    EXPECT_THAT(Entries(presets), ElementsAre("Gate && yard", "Preset 10"));
    EXPECT_EQ(presets.actions()[1]->data().toInt(), 1820);
}

TEST_F(CellMenuTest, OpensByTheKeyboardAndSwitchesDigitalZoom) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    QMenu* const menu = OpenMenu();
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(Entries(*menu).front(), "Enable digital zoom");
    EXPECT_FALSE(menu->actions().front()->isEnabled());  // there is no picture
    menu->close();
    Pump();

    EXPECT_FALSE(console->Controls().Get(kCmdZoomIn).shown);
    Command(kCmdDigitalZoomOn);
    EXPECT_TRUE(Cell(0).GetCamera()->IsDigitalZoom());
    EXPECT_FALSE(Cell(1).GetCamera()->IsDigitalZoom());
    EXPECT_TRUE(console->Controls().Get(kCmdZoomIn).shown);
    QMenu* const again = OpenMenu();
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(Entries(*again).front(), "Disable digital zoom");
    again->close();
    Pump();

    // It is there again in the next session, and goes no further than its own channel.
    Close();
    Open(recorder.Port());
    EXPECT_TRUE(Cell(0).GetCamera()->IsDigitalZoom());
    EXPECT_FALSE(Cell(1).GetCamera()->IsDigitalZoom());
    Command(kCmdDigitalZoomOff);
    EXPECT_FALSE(console->Controls().Get(kCmdZoomIn).shown);
}

TEST_F(CellMenuTest, ThePictureOfACellIsSetFromItsMenu) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    const auto choose = [&](std::initializer_list<int> path) {
        QMenu* menu = OpenMenu();
        ASSERT_NE(menu, nullptr);
        QMenu* const open = menu;
        menu = [&]() -> QMenu* {
            for (const QAction* const entry : menu->actions()) {
                if (entry->text() == "Picture") {
                    return entry->menu();
                }
            }
            return nullptr;
        }();
        ASSERT_NE(menu, nullptr);
        for (const int i : path) {
            QAction* const entry = menu->actions()[i];
            if (entry->menu() == nullptr) {
                entry->trigger();
                emit open->triggered(entry);
            }
            menu = entry->menu();
        }
        open->close();
        Pump();
    };
    ChannelPicture& picture = Cell(0).GetCamera()->Picture();
    choose({1});
    EXPECT_EQ(picture.GetDisplayMode(), DisplayMode::KeepAspect);
    choose({3});
    EXPECT_EQ(picture.GetDisplayMode(), DisplayMode::PowerOfTwo);
    choose({5});
    EXPECT_TRUE(picture.IsDeinterlace());
    choose({6, 1});
    EXPECT_EQ(picture.GetMainOsdColor(), 0x00FFFFFFu);
    choose({7, 3});
    EXPECT_TRUE(picture.IsLineShown(SubString::View));
    EXPECT_FALSE(picture.IsLineShown(SubString::Draw));
    choose({7, 13});  // the debug switch
    EXPECT_TRUE(picture.IsLineShown(SubString::Draw));
    choose({7, 13});
    EXPECT_FALSE(picture.IsLineShown(SubString::Draw));
    // And is kept.
    Close();
    Open(recorder.Port());
    ChannelPicture& again = Cell(0).GetCamera()->Picture();
    EXPECT_EQ(again.GetDisplayMode(), DisplayMode::PowerOfTwo);
    EXPECT_EQ(again.GetMainOsdColor(), 0x00FFFFFFu);
    EXPECT_TRUE(again.IsDeinterlace());
}

TEST_F(CellMenuTest, PresetsAreStoredByNumberAlone) {
    FakeRecorder recorder("Hall", 4);
    // Commands wait for the camera's abilities to be read.
    recorder.SetDocument("command=16", kvtest::HttpReply(200, "OK", "0"));
    recorder.SetDocument("Recording.MediaProperty", kvtest::HttpReply(200, "OK", "\naudio_enabled=0\n"));
    Open(recorder.Port());
    Command(kCmdPresetDialog);
    Command(kCmdPresetDialog);  // one is enough
    ASSERT_NE(Presets(), nullptr);
    const auto button = [this](const char* name) {
        return Presets()->findChild<QPushButton*>(QString::fromLatin1(name));
    };
    EXPECT_FALSE(button("goTo")->isEnabled() || button("delete")->isEnabled());
    EXPECT_FALSE(Presets()->findChild<QLineEdit*>()->isEnabled());  // the recorder takes no names
    button("store")->click();
    EXPECT_TRUE(PumpUntil([&] { return recorder.CountHeads("ptz.cgi?command=21&ch=0&arg=000xx ") == 1; }));
    EXPECT_EQ(recorder.CountHeads("ptz.cgi?ch=0&command=20 "), 1);
    // The end of the session takes it away.
    console->OnBtnLogout();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(Presets(), nullptr);
}
