// What a cell draws, and how it binds its channel.
#include <gmock/gmock.h>

#include <QtGui/QImage>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QApplication>
#include <map>
#include <thread>

#include "cell_fixture.h"
#include "channel/base/channel_messages.h"
#include "channel/cell/channel_view.h"
#include "skin/skin_messages.h"
#include "support/wait_until.h"
#include "test_frames.h"

namespace kvmon {
namespace {

using kvtest::Cell;
using kvtest::MakeGate;

constexpr QRgb kCellGround = qRgb(155, 154, 159);
constexpr QRgb kActive = qRgb(229, 145, 72);
constexpr QRgb kInactive = qRgb(81, 79, 84);
constexpr QRgb kPictureGround = qRgb(10, 10, 44);

TEST_F(Cell, WithoutAChannelShowsAnEmptyFrame) {
    EXPECT_EQ(cell.GetWidth(), 702);
    EXPECT_EQ(cell.GetHeight(), 480);
    const QImage image = Picture();
    for (int x = 3; x < 197; ++x) {
        for (int y = 3; y < 23; ++y) {
            ASSERT_EQ(image.pixel(x, y), kInactive) << x << ',' << y;
        }
    }
    EXPECT_EQ(image.pixel(100, 100), qRgb(0, 0, 0));
}

TEST_F(Cell, DrawsFrameAndViewAtTheirPlaces) {
    const auto camera = MakeGate();
    cell.SetCamera(camera);
    EXPECT_EQ(cell.View().geometry(), QRect(QPoint(2, 23), QPoint(197, 147)));
    for (const bool bActive : {true, false}) {
        cell.SetWindowActive(bActive, PlaySound::No);
        EXPECT_EQ(cell.IsWindowActive(), bActive);
        const QImage image = Picture();
        for (const int middle : {60, 100}) {
            EXPECT_EQ(image.pixel(middle, 0), kCellGround);
            EXPECT_EQ(image.pixel(middle, 1), qRgb(0, 0, 0));
            EXPECT_EQ(image.pixel(middle, 2), bActive ? kActive : kInactive);
            EXPECT_EQ(image.pixel(0, middle), kCellGround);
            EXPECT_EQ(image.pixel(1, middle), qRgb(0, 0, 0));
            EXPECT_EQ(image.pixel(2, middle), kPictureGround);
            EXPECT_EQ(image.pixel(197, middle), kPictureGround);
            EXPECT_EQ(image.pixel(198, middle), qRgb(0, 0, 0));
            EXPECT_EQ(image.pixel(199, middle), kCellGround);
            EXPECT_EQ(image.pixel(middle, 148), qRgb(0, 0, 0));
            EXPECT_EQ(image.pixel(middle, 149), kCellGround);
        }
        EXPECT_EQ(image.pixel(0, 0), kCellGround);
        EXPECT_EQ(image.pixel(150, 22), bActive ? kActive : kInactive);
        EXPECT_EQ(image.pixel(150, 23), kPictureGround);
    }
    EXPECT_EQ(cell.accessibleName(), "Gate & <b>yard</b>");
}

TEST_F(Cell, NamesTheChannelInPlainTextAndElidesIt) {
    const auto camera = MakeGate();
    cell.SetCamera(camera);
    const auto inkedColumns = [&] {
        const QImage image = Picture();
        int last = 0;
        for (int x = 3; x < 197; ++x) {
            for (int y = 4; y < 22; ++y) {
                last = image.pixel(x, y) != kInactive ? x : last;
            }
        }
        return last;
    };
    const int full = inkedColumns();
    EXPECT_GT(full, 60);
    camera->SetCameraName("yard");
    EXPECT_LT(inkedColumns(), full / 2);
    camera->SetCameraName(std::string(5000, 'W'));
    EXPECT_LT(inkedColumns(), 200 - 7);
    camera->SetCameraName("");
    EXPECT_EQ(inkedColumns(), 0);
}

TEST_F(Cell, TellsWhyThereIsNoPicture) {
    const auto refused = MakeGate(0);
    cell.SetCamera(refused);
    EXPECT_EQ(refused->Picture().GetMainCaption(), "No Permission");
    const auto connecting = MakeGate();
    cell.SetCamera(connecting);
    EXPECT_EQ(connecting->Picture().GetMainCaption(), "Connecting");
    connecting->Picture().AutoCleanCaption();
    EXPECT_EQ(connecting->Picture().GetMainCaption(), "");
    cell.SetCamera(connecting);  // not told again
    EXPECT_EQ(connecting->Picture().GetMainCaption(), "");

    CameraSettings nothing;
    const auto unset = CreateCamera(&nothing);
    cell.SetCamera(unset);
    EXPECT_EQ(unset->Picture().GetMainCaption(), "No Settings");
}

TEST_F(Cell, BindsItsChannelAndGivesTheFormerOneUp) {
    const auto first = MakeGate();
    auto second = MakeGate();
    cell.SetCamera(first);
    EXPECT_EQ(first->GetVideoWnd(), cell.Handle());
    EXPECT_EQ(first->GetViewWnd(), cell.View().Handle());
    EXPECT_EQ(first->Picture().GetSubString(SubString::View), "View: 196 x 125");
    first->Picture().SetBitmapInfo(MakeBitmapInfo(352, 288));
    EXPECT_EQ(cell.GetWidth(), 352);
    EXPECT_EQ(cell.GetHeight(), 288);

    CVideoWnd other;
    other.SetCamera(first);  // shown elsewhere now
    cell.SetCamera(second);
    EXPECT_EQ(first->GetVideoWnd(), other.Handle());
    EXPECT_EQ(first->GetViewWnd(), other.View().Handle());
    EXPECT_EQ(second->GetVideoWnd(), cell.Handle());

    second.reset();  // a channel that ends takes its picture along
    EXPECT_EQ(cell.GetCamera(), nullptr);
    EXPECT_EQ(Picture().pixel(100, 100), qRgb(0, 0, 0));
}

TEST_F(Cell, FollowsItsSizeAndShowsThePicture) {
    const auto camera = MakeGate();
    cell.SetCamera(camera);
    cell.show();
    cell.resize(104, 77);
    auto frame = kvtest::MakePlainFrame(64, 64, {0, 200, 0});
    camera->Picture().SetBitmapInfo(frame->Info());
    camera->Picture().Present(std::move(frame));
    EXPECT_EQ(camera->Picture().GetSubString(SubString::View), "View: 100 x 52");
    const QImage image = Picture();
    EXPECT_NEAR(qGreen(image.pixel(2, 23)), 200, 3);
    EXPECT_NEAR(qGreen(image.pixel(101, 74)), 200, 3);
    EXPECT_EQ(cell.View().ClientToImage({50, 26}), QPoint(32, 32));
    cell.resize(1, 1);
    Picture();
}

// Counts the paints of the windows that it watches.
class PaintLog final : public QObject {
public:
    std::map<QObject*, int> paints;
    bool eventFilter(QObject* window, QEvent* event) override {
        paints[window] += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

TEST_F(Cell, ANewPicturePaintsTheViewAlone) {
    const auto camera = MakeGate();
    cell.SetCamera(camera);
    cell.show();
    PaintLog log;
    cell.installEventFilter(&log);
    cell.View().installEventFilter(&log);
    const auto painted = [&](QWidget& window) {
        return kvtest::WaitUntil([&] {
            QApplication::processEvents();
            return log.paints[&window] > 0;
        });
    };
    ASSERT_TRUE(painted(cell));
    ASSERT_TRUE(painted(cell.View()));
    QApplication::processEvents();
    log.paints.clear();
    auto frame = kvtest::MakePlainFrame(64, 64, {0, 200, 0});
    camera->Picture().SetBitmapInfo(frame->Info());
    std::thread([&] { camera->Picture().Present(std::move(frame)); }).join();
    EXPECT_TRUE(painted(cell.View()));
    EXPECT_EQ(log.paints[&cell], 0);
}

TEST_F(Cell, TheActiveOneTellsThePanelOfAnotherCamera) {
    const auto camera = MakeGate();
    cell.SetCamera(camera);
    cell.SetWindowActive(true, PlaySound::No);
    Received();
    cell.SetCamera(camera);
    EXPECT_EQ(Received(), Numbers{});
    cell.SetCamera(MakeGate());
    EXPECT_EQ(Received(), Numbers{WM_COMMAND});
    cell.SetCamera(nullptr);
    EXPECT_EQ(Received(), Numbers{WM_COMMAND});
    cell.SetWindowActive(false, PlaySound::No);
    cell.SetCamera(camera);
    EXPECT_EQ(Received(), Numbers{});
}

TEST_F(Cell, PresetTimersArmTheRereadAndTheNotice) {
    cell.SendMessage(WM_TIMER, 86, 0);
    EXPECT_TRUE(cell.IsTimerSet(96));
    EXPECT_TRUE(cell.IsTimerSet(97));
    cell.SetNotifyDlg(console.Handle());
    cell.SendMessage(WM_TIMER, 97, 0);
    EXPECT_FALSE(cell.IsTimerSet(97));
    EXPECT_EQ(Received(), Numbers{1025});
}

TEST_F(Cell, TimedMessagesGoByThemselves) {
    const auto camera = MakeGate();
    cell.SetCamera(camera);
    CChannelView& view = cell.View();
    view.SetMessageText("Left End", CaptionStay::ForAWhile);
    camera->Picture().AutoCleanCaption();
    EXPECT_EQ(camera->Picture().GetMainCaption(), "Left End");
    EXPECT_TRUE(view.IsTimerSet(2));
    view.SetMessageText("Disconnected", CaptionStay::UntilPicture);
    EXPECT_FALSE(view.IsTimerSet(2));
    // What stands comes back when the text for a while has gone.
    view.SetMessageText("Left End", CaptionStay::ForAWhile);
    EXPECT_EQ(camera->Picture().GetMainCaption(), "Left End");
    EXPECT_TRUE(kvtest::WaitUntil([&] {
        QApplication::processEvents();
        return camera->Picture().GetMainCaption() == "Disconnected";
    }));
    // Nor does it stay with a channel that leaves the view before.
    view.SetMessageText("Left End", CaptionStay::ForAWhile);
    cell.SetCamera(MakeGate());
    EXPECT_EQ(camera->Picture().GetMainCaption(), "Disconnected");
    EXPECT_FALSE(view.IsTimerSet(2));
    cell.SetCamera(camera);

    view.RefreshZoomLabel();
    EXPECT_EQ(camera->Picture().GetSubString(SubString::DigitalZoom), "");
    cell.SetDigitalZoom(true);
    EXPECT_FALSE(view.IsTimerSet(5));  // no picture, nothing to tell
    cell.SetDigitalZoom(false);
    camera->Picture().SetBitmapInfo(MakeBitmapInfo(98, 50));
    cell.SetDigitalZoom(true);
    EXPECT_EQ(camera->Picture().GetSubString(SubString::DigitalZoom), "Digital zoom x2.00");
    EXPECT_TRUE(camera->Picture().IsLineShown(SubString::DigitalZoom));
    EXPECT_TRUE(view.IsTimerSet(5));
}

TEST_F(Cell, ViewGoesFullScreenAndBack) {
    console.resize(400, 300);
    cell.setParent(&console);
    cell.resize(200, 150);
    console.show();
    cell.show();
    const auto camera = MakeGate();
    cell.SetCamera(camera);
    CChannelView& view = cell.View();
    view.SetAllowFullScreen(true);
    Press(view, QEvent::MouseButtonDblClick, Qt::LeftButton, {7, 9});
    EXPECT_TRUE(view.IsFullScreen());
    EXPECT_TRUE(view.isWindow());
    EXPECT_EQ(view.geometry(), view.screen()->geometry());
    cell.resize(120, 100);  // the layout goes on meanwhile
    EXPECT_TRUE(view.isWindow());
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(&view, &escape);
    EXPECT_FALSE(view.IsFullScreen());
    EXPECT_EQ(view.parentWidget(), &cell);
    EXPECT_EQ(view.geometry(), CVideoWnd::GetViewRect(cell.size()));
    EXPECT_EQ(camera->Picture().GetSubString(SubString::View), "View: 116 x 75");
}

TEST_F(Cell, GivesTheSnapshotOfItsOwnChannelAlone) {
    EXPECT_FALSE(cell.View().TakeSnapshot(""));
    const auto camera = MakeGate();
    cell.SetCamera(camera);
    EXPECT_FALSE(cell.View().TakeSnapshot("")) << "there is no picture";
    auto frame = kvtest::MakePlainFrame(64, 64, {0, 200, 0});
    camera->Picture().SetBitmapInfo(frame->Info());
    camera->Picture().Present(std::move(frame));
    EXPECT_EQ(cell.View().TakeSnapshot("")->info.biWidth, 64);
    CVideoWnd other;
    other.SetCamera(camera);
    EXPECT_TRUE(other.View().TakeSnapshot(""));
    EXPECT_FALSE(cell.View().TakeSnapshot("")) << "another cell shows it";
}

}  // namespace
}  // namespace kvmon
