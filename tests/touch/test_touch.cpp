// Fingers on a wall, as a touch screen reports them: a rest opens the menu or moves the cell, a swipe turns
// the page, two fingers zoom.
#include <gmock/gmock.h>

#include <QtTest/qtesttouch.h>
#include <QtWidgets/QApplication>

#include "../channel/test_frames.h"
#include "channel/base/channel_messages.h"
#include "channel/cell/cell_timers.h"
#include "channel/cell/channel_view.h"
#include "console_fixture.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;

namespace {

class Touch : public kvtest::ConsoleTest {
protected:
    void OpenFour(FakeRecorder& recorder) {
        Open(recorder.Port());
        Command(StyleButtonId(VIEW_STYLE_4CH));
        ASSERT_EQ(ShownNames().size(), 4u);
    }
    QWidget& View(int n) { return Cell(n).View(); }
    QPoint Middle(int n) { return View(n).rect().center(); }
    // The pointer goes with the first finger.
    void Put(int n, const QPoint& at) {
        QCursor::setPos(View(n).mapToGlobal(at));
        QTest::touchEvent(&View(n), Screen()).press(0, at);
    }
    void Slide(int n, const QPoint& to) {
        QCursor::setPos(View(n).mapToGlobal(to));
        QTest::touchEvent(&View(n), Screen()).move(0, to);
    }
    void Lift(int n, const QPoint& at) {
        QTest::touchEvent(&View(n), Screen()).release(0, at);
        Pump();
    }
    void Swipe(int n, const QPoint& by) {
        Put(n, Middle(n));
        for (int step = 1; step <= 4; ++step) {
            Slide(n, Middle(n) + by * step / 4);
        }
        Lift(n, Middle(n) + by);
    }
    // Both fingers at the same distance from the middle, from one distance to the other.
    void Pinch(int n, int from, int to) {
        const auto left = [&](int reach) { return Middle(n) - QPoint(reach, 0); };
        const auto right = [&](int reach) { return Middle(n) + QPoint(reach, 0); };
        Put(n, left(from));
        QTest::touchEvent(&View(n), Screen()).move(0, left(from)).press(1, right(from));
        for (int step = 1; step <= 8; ++step) {
            const int reach = from + (to - from) * step / 8;
            QTest::touchEvent(&View(n), Screen()).move(0, left(reach)).move(1, right(reach));
        }
        QTest::touchEvent(&View(n), Screen()).release(0, left(to)).release(1, right(to));
        Pump();
    }
    static bool HasGhost() {
        for (const QWidget* const widget : QApplication::topLevelWidgets()) {
            if (widget->objectName() == "dragGhost" && widget->isVisible()) {
                return true;
            }
        }
        return false;
    }

private:
    static QPointingDevice* Screen() {
        static QPointingDevice* const screen = QTest::createTouchDevice();
        return screen;
    }
};

}  // namespace

TEST_F(Touch, ATapActivatesARestOpensTheMenuOrMovesTheCell) {
    FakeRecorder recorder("Hall", 4);
    OpenFour(recorder);
    Put(2, Middle(2));
    Lift(2, Middle(2));
    EXPECT_TRUE(Cell(2).IsWindowActive());
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);

    Put(1, Middle(1));
    ASSERT_TRUE(PumpUntil(HasGhost));
    Lift(1, Middle(1));
    EXPECT_FALSE(HasGhost());
    ASSERT_NE(QApplication::activePopupWidget(), nullptr);
    EXPECT_TRUE(Cell(1).IsWindowActive());
    QApplication::activePopupWidget()->close();
    Pump();

    // One that comes back has changed its mind.
    Put(3, Middle(3));
    ASSERT_TRUE(PumpUntil(HasGhost));
    Slide(3, Middle(3) + QPoint(60, 0));
    Slide(3, Middle(3));
    Lift(3, Middle(3));
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);

    Put(0, Middle(0));
    ASSERT_TRUE(PumpUntil(HasGhost));
    const QPoint other = View(0).mapFromGlobal(View(3).mapToGlobal(Middle(3)));
    Slide(0, other);
    Lift(0, other);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 4", "Channel 2", "Channel 3", "Channel 1"));
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);

    // A cell that cannot go anywhere has its menu all the same.
    Command(StyleButtonId(VIEW_STYLE_SINGLE_1CH));
    Put(0, Middle(0));
    Cell(0).SendMessage(WM_TIMER, kTimerFinger, 0);  // it has rested
    EXPECT_FALSE(HasGhost());
    Lift(0, Middle(0));
    ASSERT_NE(QApplication::activePopupWidget(), nullptr);
    QApplication::activePopupWidget()->close();
}

TEST_F(Touch, ASwipeTurnsThePageForthAndBack) {
    FakeRecorder recorder("Hall", 10);
    OpenFour(recorder);
    Swipe(1, {-100, 8});
    EXPECT_EQ(ShownNames()[0], "Channel 5");
    Swipe(1, {100, -8});
    EXPECT_EQ(ShownNames()[0], "Channel 1");
    // Neither up, nor a tremble.
    Swipe(1, {-70, 90});
    Swipe(1, {-40, 0});
    EXPECT_EQ(ShownNames()[0], "Channel 1");
    Command(StyleButtonId(VIEW_STYLE_SINGLE_1CH));
    const std::string before = ShownNames()[0];
    Swipe(0, {-120, 0});
    EXPECT_NE(ShownNames()[0], before);
    Swipe(0, {120, 0});
    EXPECT_EQ(ShownNames()[0], before);
}

TEST_F(Touch, TwoFingersZoomAndGiveTheCameraBack) {
    FakeRecorder recorder("Hall", 4);
    OpenFour(recorder);
    const auto camera = Cell(0).GetCamera();
    ASSERT_TRUE(camera->IsCameraUsable());
    auto frame = kvtest::MakePlainFrame(640, 480, {90, 90, 90});
    camera->Picture().SetBitmapInfo(frame->Info());
    camera->Picture().Present(std::move(frame));
    ASSERT_FALSE(camera->IsDigitalZoom());
    Pinch(0, 30, 60);
    EXPECT_TRUE(camera->IsDigitalZoom());
    // Twice as far apart is twice as large: 2 percent a level.
    EXPECT_NEAR(camera->GetDigitalZoomLevel(), 34, 3);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "Channel 3", "Channel 4"));
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    Pinch(0, 80, 20);
    EXPECT_EQ(camera->GetDigitalZoomLevel(), 0);
    EXPECT_FALSE(camera->IsDigitalZoom());
    // One that the menu has switched on stays.
    Cell(0).SetDigitalZoom(true);
    Pinch(0, 30, 60);
    Pinch(0, 80, 20);
    EXPECT_EQ(camera->GetDigitalZoomLevel(), 0);
    EXPECT_TRUE(camera->IsDigitalZoom());
    // Fingers on a cell without a camera, or whose recorder has gone, do nothing.
    Cell(3).SetCamera(nullptr);
    Pinch(3, 30, 60);
    Pinch(0, 30, 60);
    EXPECT_GT(camera->GetDigitalZoomLevel(), 0);
}
