// The menu of a cell in a whole console: from the key to the recorder.
#include <gmock/gmock.h>

#include <QtCore/QBuffer>
#include <QtGui/QImage>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTableWidget>

#include "channel/base/cam_commands.h"
#include "channel/camera/base_camera.h"
#include "console/camera/cell_menu.h"
#include "console_fixture.h"
#include "menu_entries.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"
#include "support/scripted_server.h"

using namespace kvmon;
using kvtest::Entries;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;

namespace {

class CellMenuTest : public kvtest::ConsoleTest {
protected:
    QMenu* OpenMenu() {
        kvtest::SendKey(*console, QEvent::KeyPress, Qt::Key_F10, Qt::ShiftModifier);
        return qobject_cast<QMenu*>(QApplication::activePopupWidget());
    }
    QDialog* Presets() { return console->window()->findChild<QDialog*>(QStringLiteral("presetDialog")); }
};

}  // namespace

TEST_F(CellMenuTest, OpensByTheKeyboardAndSwitchesDigitalZoom) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    QMenu* const menu = OpenMenu();
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(Entries(*menu).front(), "Enable digital zoom");
    EXPECT_FALSE(menu->actions().front()->isEnabled());  // there is no picture
    menu->close();
    Pump();

    EXPECT_FALSE(console->Parts().controls.Get(kCmdZoomIn).shown);
    Command(kCmdDigitalZoomOn);
    EXPECT_TRUE(Cell(0).GetCamera()->IsDigitalZoom());
    EXPECT_FALSE(Cell(1).GetCamera()->IsDigitalZoom());
    EXPECT_TRUE(console->Parts().controls.Get(kCmdZoomIn).shown);
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
    EXPECT_FALSE(console->Parts().controls.Get(kCmdZoomIn).shown);
}

// A recorder stores the place where the camera is; only the user sees when it has arrived.
TEST_F(CellMenuTest, ARenamedPresetKeepsItsPlace) {
    FakeRecorder recorder("Hall", 1);
    recorder.SetDocument("command=16", kvtest::HttpReply(200, "OK", "19"));
    recorder.SetDocument("Recording.MediaProperty", kvtest::HttpReply(200, "OK", "\n<audio_enabled>\n"));
    recorder.SetDocument("command=15", kvtest::HttpReply(200, "OK", "002044761746503412642"));  // Gate, A&B
    recorder.SetDocument("command=20", kvtest::HttpReply(200, "OK", "01011"));
    recorder.SetDocument("command=12", kvtest::HttpReply(200, "OK", "0"));
    recorder.SetDocument("command=22", kvtest::HttpReply(200, "OK", "\r\n\r\n\r\n"));
    Open(recorder.Port());
    ASSERT_TRUE(PumpUntil([&] { return Cell(0).GetCamera()->GetCameraInfo().dwPresetMask == 3; }));
    Command(kCmdPresetDialog);
    ASSERT_NE(Presets(), nullptr);
    auto* const table = Presets()->findChild<QTableWidget*>();
    auto* const name = Presets()->findChild<QLineEdit*>();
    const auto button = [this](const char* which) {
        return Presets()->findChild<QPushButton*>(QString::fromLatin1(which));
    };
    const auto shows = [this](const char* text) {
        for (const QLabel* const label : Presets()->findChildren<QLabel*>()) {
            if (label->text() == QLatin1String(text)) {
                return true;
            }
        }
        return false;
    };
    // Clicks "Rename" with a new name in the field.
    const auto rename = [&](const char* text) {
        name->selectAll();
        kvtest::TypeText(*name, text);
        ASSERT_TRUE(PumpUntil([&] { return button("rename")->isEnabled(); }));
        kvtest::DoubleClickAt(*button("rename"), button("rename")->rect().center());
        EXPECT_EQ(button("rename")->text(), "Store name");
    };
    ASSERT_TRUE(PumpUntil([&] { return name->isEnabled(); }));
    EXPECT_EQ(table->item(1, 1)->text(), "A&B");

    rename("Door");
    EXPECT_FALSE(button("rename")->isEnabled()) << "the second click of a double click stores nothing";
    ASSERT_TRUE(PumpUntil([&] { return button("rename")->isEnabled(); }));
    EXPECT_TRUE(shows(
        "The camera goes to the preset. Click \"Store name\" when it is there; anything else keeps the old "
        "name."));
    EXPECT_EQ(recorder.CountHeads("ptz.cgi?ch=0&command=12&arg=0 "), 1);
    EXPECT_EQ(recorder.CountHeads("command=21"), 0);
    button("rename")->click();
    EXPECT_TRUE(PumpUntil([&] { return recorder.CountHeads("command=21&ch=0&arg=00004446f6f72 ") == 1; }));
    EXPECT_EQ(button("rename")->text(), "Rename");

    // The user turns to something else.
    rename("Roof");
    ASSERT_TRUE(PumpUntil([&] { return button("rename")->isEnabled(); }));
    table->selectRow(1);
    EXPECT_EQ(button("rename")->text(), "Rename");
    // The camera does not obey.
    recorder.SetDocument("command=12", kvtest::HttpReply(500, "Sorry", ""));
    rename("Yard");
    ASSERT_TRUE(PumpUntil([&] { return shows("The camera did not go to the preset. It keeps its name."); }));
    EXPECT_EQ(button("rename")->text(), "Rename");
    EXPECT_EQ(recorder.CountHeads("command=21"), 1);

    // The name goes out with "&" doubled, as recorders have always been sent it.
    button("delete")->click();
    EXPECT_TRUE(PumpUntil([&] { return recorder.CountHeads("command=22&ch=0&arg=0010441262642 ") == 1; }));
}

// From the click to the request: to the recorder, and to the camera again.
TEST_F(CellMenuTest, WhereTheStreamComesFromIsChosen) {
    QImage picture(32, 16, QImage::Format_RGB32);
    picture.fill(Qt::gray);
    QBuffer jpeg;
    ASSERT_TRUE(picture.save(&jpeg, "JPG"));
    const std::string part =
        "--p\r\nContent-Type: image/jpeg\r\nContent-Length: " + std::to_string(jpeg.size()) + "\r\n\r\n" +
        jpeg.data().toStdString() + "\r\n";
    kvtest::ScriptedServer camera([&](kvtest::Peer& peer) {
        peer.ReadHead();
        peer.Write("HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=p\r\n\r\n");
        while (peer.Write(part)) {
            std::this_thread::sleep_for(Milliseconds(50));
        }
    });
    FakeRecorder recorder("Hall", {{.name = "Gate", .cameraPort = camera.Port()}});
    Open(recorder.Port());
    ASSERT_TRUE(PumpUntil([&] { return Cell(0).GetCamera()->GetStatistics().shown > 0; }));
    const auto choose = [this] {
        QMenu* const menu = OpenMenu();
        ASSERT_NE(menu, nullptr);
        ASSERT_TRUE(kvtest::Choose(*menu, {"Picture directly from the camera"}));
        Pump();
    };
    choose();
    EXPECT_TRUE(PumpUntil([&] { return recorder.StreamRequestCount() > 0; }));
    EXPECT_EQ(camera.Heads().size(), 1u);
    choose();
    EXPECT_TRUE(PumpUntil([&] { return camera.Heads().size() == 2; }));
}

// A cell takes the stream that fits it, until its user wants one in any case; also after a restart.
TEST_F(CellMenuTest, ACellCanBeGivenAStreamOfASizeInAnyCase) {
    FakeRecorder recorder("Hall", 1);
    recorder.SetDocument(
        "getmultistreaminfo.cgi",
        kvtest::HttpReply(200, "OK",
                          "<r><return>0</return><ch0><stream_no>2</stream_no>"
                          "<stream0><id>0</id><fcc>H264</fcc><resolution>5</resolution></stream0>"
                          "<stream1><id>1</id><fcc>H264</fcc><resolution>1</resolution></stream1>"
                          "</ch0></r>"));
    const auto asked = [&](int stream) { return recorder.CountHeads(FormatText("stream_id=%d ", stream)); };
    const auto sizes = [this]() -> QMenu* {
        QMenu* const menu = OpenMenu();
        for (QAction* const entry : menu != nullptr ? menu->actions() : QList<QAction*>()) {
            if (entry->text() == QLatin1String("Stream size")) {
                return entry->menu();
            }
        }
        return nullptr;
    };
    const auto checked = [&] {
        std::string found;
        QMenu* const menu = sizes();
        for (const QAction* const entry : menu != nullptr ? menu->actions() : QList<QAction*>()) {
            found += entry->isChecked() ? entry->text().toStdString() : std::string();
        }
        QApplication::activePopupWidget()->close();
        Pump();
        return found;
    };
    Open(recorder.Port());
    ASSERT_TRUE(PumpUntil([&] { return Cell(0).GetCamera()->GetStreamProfiles().size() == 2; }));
    ASSERT_TRUE(PumpUntil([&] { return asked(0) > 0; }));
    QMenu* const offered = sizes();
    ASSERT_NE(offered, nullptr);
    const std::vector<std::string> entries = Entries(*offered);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_THAT(entries[1], testing::StartsWith("QCIF["));
    EXPECT_THAT(entries[2], testing::StartsWith("Large["));
    EXPECT_TRUE(offered->actions().front()->isChecked());
    QMenu* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_TRUE(kvtest::Choose(*menu, {"Stream size", entries[1]}));
    EXPECT_TRUE(PumpUntil([&] { return asked(1) > 0; }));
    EXPECT_EQ(checked(), entries[1]);

    Close();
    const int before = asked(1);
    Open(recorder.Port());
    EXPECT_TRUE(PumpUntil([&] { return asked(1) > before; }));
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
    console->Parts().session.OnBtnLogout();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(Presets(), nullptr);
}
