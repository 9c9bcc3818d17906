// Dragging a cell onto another by the mouse: what is shown on the way, what a drop changes, what ends it.
#include <gmock/gmock.h>

#include <QtWidgets/QApplication>

#include "channel/base/cam_commands.h"
#include "channel/cell/channel_view.h"
#include "console_fixture.h"
#include "some_pictures.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;
using testing::ElementsAre;

namespace {

class CellDragTest : public kvtest::ConsoleTest {
protected:
    // Middle of a cell's picture, or of its caption, on the screen.
    QPoint PictureOf(int n) { return Cell(n).View().mapToGlobal(Cell(n).View().rect().center()); }
    QPoint CaptionOf(int n) { return Cell(n).mapToGlobal(QPoint(40, 10)); }
    QWidget& Hit(int n, const QPoint& at) {
        QWidget& view = Cell(n).View();
        return view.rect().contains(view.mapFromGlobal(at)) ? view : static_cast<QWidget&>(Cell(n));
    }
    void Send(QWidget& to, QEvent::Type type, const QPoint& at, Qt::MouseButton button, Qt::MouseButtons held,
              Qt::MouseEventSource source = Qt::MouseEventNotSynthesized) {
        QCursor::setPos(at);
        kvtest::SendMouseAt(to, type, at, button, held, source);
    }
    void Press(int n, const QPoint& at, Qt::MouseEventSource source = Qt::MouseEventNotSynthesized) {
        m_held = &Hit(n, at);
        Send(*m_held, QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton, source);
    }
    void MoveTo(const QPoint& at) { Send(*m_held, QEvent::MouseMove, at, Qt::NoButton, Qt::LeftButton); }
    void Release(const QPoint& at) {
        Send(*m_held, QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton);
        Pump();
    }
    void Drag(int n, const QPoint& from, const QPoint& to) {
        Press(n, from);
        MoveTo(from + QPoint(12, 0));
        MoveTo(to);
        Release(to);
    }
    static QWidget* Ghost() {
        for (QWidget* const widget : QApplication::topLevelWidgets()) {
            if (widget->objectName() == "dragGhost" && widget->isVisible()) {
                return widget;
            }
        }
        return nullptr;
    }
    // The cell that wears a pane of this name; -1 for none.
    int Wearer(const char* pane) {
        for (int n = 0; n < console->Parts().cells.GetCount(); ++n) {
            if (Cell(n).findChild<QWidget*>(QString::fromLatin1(pane)) != nullptr) {
                return n;
            }
        }
        return -1;
    }

    QWidget* m_held = nullptr;
};

}  // namespace

TEST_F(CellDragTest, CellsChangePlacesByCaptionAndByPicture) {
    FakeRecorder recorder("Hall", 6);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    Drag(0, CaptionOf(0), PictureOf(3));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 4", "Channel 2", "Channel 3", "Channel 1"));
    Drag(1, PictureOf(1), CaptionOf(2));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 4", "Channel 3", "Channel 2", "Channel 1"));
    // The cell that was dragged stays the active one, in its new place.
    EXPECT_TRUE(Cell(2).IsWindowActive());
    // It is there again in the next session.
    Close();
    Open(recorder.Port());
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 4", "Channel 3", "Channel 2", "Channel 1"));

    // A place without a camera, the panel, the own cell and the single view change nothing.
    Drag(0, PictureOf(0), console->mapToGlobal(QPoint(900, 400)));
    Drag(0, PictureOf(0), PictureOf(0) + QPoint(20, 20));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 4", "Channel 3", "Channel 2", "Channel 1"));
    Command(kCtlFirstStyle);
    Press(0, PictureOf(0));
    MoveTo(PictureOf(0) + QPoint(60, 60));
    EXPECT_EQ(Ghost(), nullptr);
    Release(PictureOf(0));
}

TEST_F(CellDragTest, ACameraGoesToAnEmptyCell) {
    FakeRecorder recorder("Hall", 6);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    kvtest::PressKey(*console, Qt::Key_PageDown);
    Pump();
    ASSERT_THAT(ShownNames(), ElementsAre("Channel 5", "Channel 6", "-", "-"));
    Drag(0, PictureOf(0), PictureOf(3));
    EXPECT_THAT(ShownNames(), ElementsAre("-", "Channel 6", "-", "Channel 5"));
    EXPECT_TRUE(Cell(3).IsWindowActive()) << "it stays the active one";
    // An empty cell is nothing that could be dragged.
    Press(2, PictureOf(2));
    MoveTo(PictureOf(1));
    EXPECT_EQ(Ghost(), nullptr);
    Release(PictureOf(1));
    Drag(3, CaptionOf(3), PictureOf(0));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 5", "Channel 6", "-", "-"));
    kvtest::PressKey(*console, Qt::Key_PageUp);
    Pump();
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "Channel 3", "Channel 4"))
        << "no other page has changed";
}

TEST_F(CellDragTest, APictureGoesWithThePointerAndThePlaceIsMarked) {
    FakeRecorder recorder("Hall", 3);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    const QRgb before = Cell(1).grab().toImage().pixel(1, 40);
    Press(0, PictureOf(0));
    MoveTo(PictureOf(0) + QPoint(4, 0));
    EXPECT_EQ(Ghost(), nullptr);  // a hand trembles
    MoveTo(PictureOf(0) + QPoint(12, 0));
    ASSERT_NE(Ghost(), nullptr);
    EXPECT_EQ(Wearer("dragVeil"), 0);
    EXPECT_EQ(Wearer("dropMark"), -1);
    MoveTo(PictureOf(1));
    EXPECT_EQ(Wearer("dropMark"), 1);
    EXPECT_NE(Cell(1).grab().toImage().pixel(1, 40), before);
    EXPECT_FALSE(Ghost()->frameGeometry().contains(PictureOf(1)));
    EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::ClosedHandCursor);
    MoveTo(console->mapToGlobal(QPoint(900, 400)));  // no cell there
    EXPECT_EQ(Wearer("dropMark"), -1);
    EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::ForbiddenCursor);
    MoveTo(PictureOf(3));
    EXPECT_EQ(Wearer("dropMark"), 3) << "a place without a camera can be taken";

    // Escape ends it, and the release after it does nothing.
    MoveTo(PictureOf(1));
    kvtest::SendKey(*console, QEvent::KeyPress, Qt::Key_Escape);
    EXPECT_EQ(Ghost(), nullptr);
    EXPECT_EQ(Wearer("dropMark"), -1);
    EXPECT_EQ(Wearer("dragVeil"), -1);
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    MoveTo(PictureOf(1) + QPoint(5, 5));
    EXPECT_EQ(Ghost(), nullptr);
    Release(PictureOf(1));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "Channel 3", "-"));

    // So does another view, or the other button.
    Press(0, PictureOf(0));
    MoveTo(PictureOf(1));
    Command(StyleButtonId(VIEW_STYLE_6CH));
    EXPECT_EQ(Ghost(), nullptr);
    Release(PictureOf(1));
    Press(0, PictureOf(0));
    MoveTo(PictureOf(1));
    Send(*m_held, QEvent::MouseButtonPress, PictureOf(1), Qt::RightButton, Qt::LeftButton | Qt::RightButton);
    EXPECT_EQ(Ghost(), nullptr);
    Send(*m_held, QEvent::MouseButtonRelease, PictureOf(1), Qt::RightButton, Qt::LeftButton);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    Release(PictureOf(1));
    EXPECT_EQ(ShownNames()[0], "Channel 1");
}

// The window system first asks who wants the key; only then comes the key itself.
TEST_F(CellDragTest, EscapeEndsTheDragAndLeavesFullScreenAlone) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    Command(kCtlFullScreen);
    const auto escape = [this] {
        for (const QEvent::Type type : {QEvent::ShortcutOverride, QEvent::KeyPress, QEvent::KeyRelease}) {
            kvtest::SendKey(*Cell(0).window(), type, Qt::Key_Escape);
        }
        Pump();
    };
    Press(0, PictureOf(0));
    MoveTo(PictureOf(3));
    ASSERT_NE(Ghost(), nullptr);
    escape();
    EXPECT_EQ(Ghost(), nullptr);
    EXPECT_TRUE(console->Parts().screens.IsFullScreen());
    Release(PictureOf(3));
    EXPECT_EQ(ShownNames()[0], "Channel 1");
    Drag(0, CaptionOf(0), PictureOf(3));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 4", "Channel 2", "Channel 3", "Channel 1"));
    EXPECT_TRUE(console->Parts().screens.IsFullScreen());
    escape();
    EXPECT_FALSE(console->Parts().screens.IsFullScreen());
}

TEST_F(CellDragTest, AFingerRestsBeforeItDrags) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    Press(0, PictureOf(0), Qt::MouseEventSynthesizedBySystem);
    MoveTo(PictureOf(1));
    EXPECT_EQ(Ghost(), nullptr);
    Release(PictureOf(1));
    EXPECT_EQ(ShownNames()[0], "Channel 1");

    Press(0, PictureOf(0), Qt::MouseEventSynthesizedBySystem);
    EXPECT_TRUE(kvtest::PumpUntil([] { return Ghost() != nullptr; }));
    MoveTo(PictureOf(1));
    Release(PictureOf(1));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 2", "Channel 1", "Channel 3", "Channel 4"));
}

TEST_F(CellDragTest, InPictureInPictureWhatIsSeenBelowThePointerCounts) {
    FakeRecorder recorder("Hall", 6);
    Open(recorder.Port());
    Command(kCtlPip);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "Channel 3", "Channel 4"));
    Drag(1, CaptionOf(1), PictureOf(3));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 4", "Channel 3", "Channel 2"));
    Drag(2, PictureOf(2), Cell(0).mapToGlobal(QPoint(60, 60)));
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 3", "Channel 4", "Channel 1", "Channel 2"));
}

TEST_F(CellDragTest, AClickIsStillAClickAndADragIsNone) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    Press(1, PictureOf(1));
    Release(PictureOf(1));
    EXPECT_TRUE(Cell(1).IsWindowActive());
    // A double click still goes to the single view.
    Send(Cell(1).View(), QEvent::MouseButtonDblClick, PictureOf(1), Qt::LeftButton, Qt::LeftButton);
    Pump();
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_SINGLE_1CH);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 2"));
    Command(StyleButtonId(VIEW_STYLE_4CH));
    Send(Cell(2).View(), QEvent::MouseButtonPress, PictureOf(2), Qt::RightButton, Qt::RightButton);
    Send(Cell(2).View(), QEvent::MouseButtonRelease, PictureOf(2), Qt::RightButton, Qt::NoButton);
    Pump();
    QWidget* const menu = QApplication::activePopupWidget();
    ASSERT_NE(menu, nullptr);
    EXPECT_TRUE(Cell(2).IsWindowActive());
    menu->close();
}

TEST_F(CellDragTest, AClickTurnsTheCameraAndADragDoesNot) {
    FakeRecorder recorder("Hall", 4);
    recorder.SetDocument("command=16", kvtest::HttpReply(200, "OK", "67"));  // turns, also to a click
    recorder.SetDocument("Recording.MediaProperty", kvtest::HttpReply(200, "OK", "\naudio_enabled=0\n"));
    recorder.SetStream(kvtest::SomePictures());
    recorder.SetDocument("command=14", kvtest::HttpReply(200, "OK", "0"));
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    const auto camera = Cell(0).GetCamera();
    ASSERT_TRUE(kvtest::PumpUntil([&] { return camera->GetAbilities().bClickToCentre; }));
    ASSERT_TRUE(kvtest::PumpUntil([&] { return camera->IsStreamRunning(); }));
    ASSERT_TRUE(Cell(0).IsWindowActive());
    // Out to another place, out and back again, and from the caption: the camera stays.
    Drag(0, PictureOf(0), console->mapToGlobal(QPoint(900, 400)));
    Drag(0, PictureOf(0), PictureOf(0) + QPoint(1, 1));
    Press(0, CaptionOf(0));
    Release(CaptionOf(0));
    Press(0, PictureOf(0));
    EXPECT_EQ(recorder.CountHeads("command=14"), 0);
    Release(PictureOf(0) + QPoint(2, 1));  // a hand trembles
    EXPECT_TRUE(kvtest::PumpUntil([&] { return recorder.CountHeads("command=14") > 0; }));
    kvtest::PumpUntil([] { return false; }, std::chrono::milliseconds(100));
    EXPECT_EQ(recorder.CountHeads("command=14"), 1);
    // The click that makes another cell the active one turns no camera.
    Press(1, PictureOf(1));
    Release(PictureOf(1));
    kvtest::PumpUntil([] { return false; }, std::chrono::milliseconds(100));
    EXPECT_EQ(recorder.CountHeads("command=14"), 1);

    // The place counts in the picture, wherever that is in the cell; what stands beside it is no picture.
    CChannelView& view = Cell(0).View();
    camera->Picture().SetDisplayMode(DisplayMode::OwnSize);
    const PixelRect drawn = camera->Picture().GetDrawRect();
    ASSERT_TRUE(drawn.left > 20 && drawn.top > 20) << "there is room on all sides";
    const auto click = [&](int x, int y) {
        const QPoint screen = view.mapToGlobal(QPoint(x, y));
        Cell(0).SetWindowActive(true, PlaySound::No);
        Press(0, screen);
        Release(screen);
    };
    click(drawn.left - 2, (drawn.top + drawn.bottom) / 2);
    click((drawn.left + drawn.right) / 2, drawn.bottom + 1);
    click(drawn.left + drawn.Width() / 4, drawn.top + drawn.Height() / 2);
    ASSERT_TRUE(kvtest::PumpUntil([&] { return recorder.CountHeads("command=14") > 1; }));
    kvtest::PumpUntil([] { return false; }, std::chrono::milliseconds(100));
    EXPECT_EQ(recorder.CountHeads("command=14"), 2);
    EXPECT_EQ(recorder.CountHeads("command=14&arg=160%20240"), 1);
    // Neither does digital zoom take a place beside the picture.
    camera->SetDigitalZoom(true);
    camera->DZZoomAt(drawn, {drawn.left + drawn.Width() / 2, drawn.top + drawn.Height() / 2}, 10);
    const PixelRect zoomed = camera->Picture().GetZoomRect();
    const auto doubleClick = [&](int x, int y) {
        Send(view, QEvent::MouseButtonDblClick, view.mapToGlobal(QPoint(x, y)), Qt::LeftButton,
             Qt::LeftButton);
    };
    doubleClick(drawn.left - 2, drawn.top + 5);
    EXPECT_EQ(camera->Picture().GetZoomRect(), zoomed);
    doubleClick(drawn.left + 2, drawn.top + 2);
    EXPECT_NE(camera->Picture().GetZoomRect(), zoomed);
}
