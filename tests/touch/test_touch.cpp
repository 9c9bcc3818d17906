// Fingers on a wall, as a touch screen reports them: a rest opens the menu or moves the cell, a swipe turns
// the page, two fingers zoom.
#include <gmock/gmock.h>

#include <QtWidgets/QApplication>

#include "../channel/test_frames.h"
#include "channel/base/channel_messages.h"
#include "channel/cell/cell_timers.h"
#include "channel/cell/channel_view.h"
#include "console_fixture.h"
#include "fingers.h"
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
    void Put(int n, const QPoint& at) { fingers.Put(View(n), at); }
    void Slide(int n, const QPoint& to) { fingers.Slide(View(n), to); }
    void Lift(int n, const QPoint& at) { fingers.Lift(View(n), at); }
    void Swipe(int n, const QPoint& by) { fingers.Swipe(View(n), by); }
    void Pinch(int n, int from, int to) { fingers.Pinch(View(n), from, to); }
    static bool HasGhost() {
        for (const QWidget* const widget : QApplication::topLevelWidgets()) {
            if (widget->objectName() == "dragGhost" && widget->isVisible()) {
                return true;
            }
        }
        return false;
    }

    kvtest::Fingers fingers;
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
