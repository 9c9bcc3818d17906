// What the mouse, the keys and the panel do to a cell.
#include <gmock/gmock.h>

#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QApplication>

#include "cell_fixture.h"
#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/cell/channel_view.h"
#include "skin/input_messages.h"
#include "skin/skin_messages.h"

namespace kvmon {
namespace {

using kvtest::Cell;
using kvtest::MakeGate;

TEST_F(Cell, PassesMouseAndKeysOn) {
    cell.SetCamera(MakeGate());
    QWidget& view = cell.View();
    Press(view, QEvent::MouseButtonPress, Qt::LeftButton, {7, 9});
    ASSERT_EQ(console.messages.size(), 1u);
    EXPECT_EQ(console.messages[0].number, WM_LBUTTONDOWN);
    EXPECT_EQ(console.messages[0].wParam, 1u);
    EXPECT_EQ(UnpackPoint(console.messages[0].lParam), QPoint(7, 9));
    EXPECT_EQ(Received(), Numbers{WM_LBUTTONDOWN});

    Press(view, QEvent::MouseMove, Qt::NoButton, {7, 9});
    Press(view, QEvent::MouseButtonRelease, Qt::LeftButton, {7, 9});
    Press(view, QEvent::MouseButtonPress, Qt::RightButton, {7, 9});
    Press(view, QEvent::MouseButtonDblClick, Qt::RightButton, {7, 9});
    Press(cell, QEvent::MouseButtonPress, Qt::MiddleButton, {7, 9});
    EXPECT_EQ(Received(), (Numbers{WM_LBUTTONUP, WM_RBUTTONDOWN, WM_RBUTTONDBLCLK, WM_MBUTTONDOWN}));

    // The menu comes at the release, once for a press that was the cell's.
    Press(view, QEvent::MouseButtonRelease, Qt::RightButton, {7, 9});
    EXPECT_EQ(Received(), (Numbers{WM_CONTEXTMENU, WM_COMMAND}));
    Press(view, QEvent::MouseButtonRelease, Qt::RightButton, {7, 9});
    EXPECT_EQ(Received(), Numbers{WM_COMMAND});

    // One double click is one message, wherever in the cell it is.
    Press(view, QEvent::MouseButtonDblClick, Qt::LeftButton, {7, 9});
    EXPECT_EQ(Received(), Numbers{WM_LBUTTONDBLCLK});
    Press(cell, QEvent::MouseButtonDblClick, Qt::LeftButton, {7, 9});
    EXPECT_EQ(Received(), Numbers{WM_LBUTTONDBLCLK});

    QKeyEvent down(QEvent::KeyPress, Qt::Key_F2, Qt::NoModifier);
    QApplication::sendEvent(&view, &down);
    ASSERT_EQ(console.messages.size(), 1u);
    EXPECT_EQ(console.messages[0].wParam, 113u);
    EXPECT_EQ(Received(), Numbers{WM_KEYDOWN});
}

TEST_F(Cell, RisingEventStatusBlinksUntilThePress) {
    const auto camera = MakeGate();
    const auto status = [&](StatusFlags flags) {
        camera->SetStatusFlags(flags);
        cell.SendMessage(kMsgCaptionRefresh, 0, 0);
        return camera->Picture().IsEventHighlight();
    };
    // Each with its kind, and before any cell shows the channel.
    const int kinds[] = {-1, -1, 0, 2, 3, 4, 5};
    for (std::size_t i = 0; i < kStatusFlagCount; ++i) {
        StatusFlags flags{};
        flags[i] = 1;
        camera->Picture().EndEventHighlight();
        EXPECT_EQ(status(flags), kinds[i] >= 0) << i;
        if (kinds[i] >= 0) {
            EXPECT_EQ(camera->Picture().GetEventKind(), kinds[i]);
        }
        status({});
    }
    EXPECT_TRUE(camera->Picture().IsEventHighlight());
    cell.SetCamera(camera);
    cell.SetEventBlink(true);
    EXPECT_TRUE(cell.IsTimerSet(84));
    Received();
    Press(cell.View(), QEvent::MouseButtonPress, Qt::LeftButton, {7, 9});
    EXPECT_FALSE(camera->Picture().IsEventHighlight());
    EXPECT_EQ(Received(), Numbers{});
    EXPECT_TRUE(status({1, 1, 0, 0, 1, 0, 0}));
    camera->Picture().EndEventHighlight();
    EXPECT_FALSE(status({1, 1, 0, 0, 1, 0, 0}));  // has not risen again
    // Nor by a recorder that was gone in between, whose word counts for nothing meanwhile.
    EXPECT_TRUE(camera->ForgetStatus());
    EXPECT_EQ(camera->GetStatusFlags(), StatusFlags{});
    EXPECT_FALSE(status({1, 1, 0, 0, 1, 0, 0}));
    EXPECT_TRUE(Has(camera->GetStatusFlags(), StatusFlag::SignalLoss));
    Received();
    EXPECT_TRUE(status({1, 1, 1, 0, 1, 0, 0}));
    EXPECT_EQ(Received(), Numbers{WM_COMMAND});
    cell.SetEventBlink(false);
    EXPECT_FALSE(cell.IsTimerSet(84));
    // What cannot be seen swallows no press.
    Press(cell.View(), QEvent::MouseButtonPress, Qt::LeftButton, {7, 9});
    EXPECT_EQ(Received(), (Numbers{kMsgMayDragCell, WM_LBUTTONDOWN}));
}

// A cell whose channel has a picture of 640 x 480 on show, 200 x 150 as it is drawn.
class ZoomedCell : public Cell {
protected:
    ZoomedCell() {
        cell.resize(204, 175);
        cell.SetCamera(camera);
        cell.SetWindowActive(true, PlaySound::No);
        camera->Picture().SetBitmapInfo(MakeBitmapInfo(640, 480));
        cell.SetDigitalZoom(true);
        QApplication::processEvents();
        Received();
    }

    PixelRect Shown() const { return camera->Picture().GetZoomRect(); }
    bool Wheel(int turn, const QPointF& at) {
        QWidget& view = cell.View();
        QWheelEvent wheel(at, view.mapToGlobal(at), {}, {0, turn}, Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        wheel.setAccepted(false);
        QApplication::sendEvent(&view, &wheel);
        return wheel.isAccepted();
    }

    const std::shared_ptr<CBaseCamera> camera = MakeGate();
};

TEST_F(ZoomedCell, TheMouseMovesThePicture) {
    QWidget& view = cell.View();
    ASSERT_EQ(view.size(), QSize(200, 150));
    EXPECT_TRUE(Wheel(30, {50, 75}));
    EXPECT_EQ(camera->GetDigitalZoomLevel(), 1);
    EXPECT_TRUE(Wheel(90, {50, 75}));  // what was left of the first counts
    EXPECT_EQ(camera->GetDigitalZoomLevel(), 5);
    EXPECT_TRUE(Wheel(1200, {50, 75}));
    const PixelRect zoomed = Shown();
    EXPECT_EQ(camera->GetDigitalZoomLevel(), 55);
    // What was below the pointer at a quarter of the width is there still, to the step of the rounding.
    EXPECT_NEAR(zoomed.left + zoomed.Width() / 4, 160, 4);
    EXPECT_NEAR((zoomed.top + zoomed.bottom) / 2, 240, 3);
    EXPECT_EQ(view.cursor().shape(), Qt::ArrowCursor);  // no picture has come: there is nothing to take

    // The press reaches the console, and steers no camera that has no click-to-centre of its own.
    Press(view, QEvent::MouseButtonPress, Qt::LeftButton, {100, 75});
    QMouseEvent move(QEvent::MouseMove, QPointF(120, 65), view.mapToGlobal(QPointF(120, 65)), Qt::NoButton,
                     Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&view, &move);
    EXPECT_EQ(Shown().left, zoomed.left - 20 * zoomed.Width() / 200);
    EXPECT_EQ(Shown().top, zoomed.top + 10 * zoomed.Height() / 150);
    Press(view, QEvent::MouseButtonRelease, Qt::LeftButton, {120, 65});
    QApplication::sendEvent(&view, &move);  // without a press before it
    EXPECT_EQ(Shown().left, zoomed.left - 20 * zoomed.Width() / 200);

    const PixelRect before = Shown();
    QApplication::processEvents();
    Received();
    Press(view, QEvent::MouseButtonDblClick, Qt::LeftButton, {150, 75});
    EXPECT_EQ(Shown().left, before.left + 50 * before.Width() / 200);
    // And no change of the arrangement.
    EXPECT_THAT(Received(), testing::Not(testing::Contains(WM_LBUTTONDBLCLK)));

    cell.SetDigitalZoom(false);
    EXPECT_TRUE(Shown().IsEmpty());
    EXPECT_FALSE(Wheel(120, {50, 75}));
}

TEST_F(ZoomedCell, ThePanelSteersThePictureAndIsAnsweredAsByACamera) {
    const auto send = [this](std::uint32_t command) {
        cell.OnPtzCommand(command);
        QApplication::processEvents();  // the picture's answer
        QApplication::processEvents();  // and the cell's
        auto received = console.messages;
        console.messages.clear();
        std::erase_if(received, [](const kvtest::Message& m) { return m.number != kMsgEndStop; });
        return received.size();
    };
    EXPECT_EQ(camera->GetAbilities().bHome, false);
    EXPECT_EQ(send(kCmdZoomOut), 0u);  // the end of the level stops a held button
    EXPECT_EQ(camera->Picture().GetMainCaption(), "Wide End");
    EXPECT_EQ(send(kCmdZoomIn), 1u);
    EXPECT_EQ(camera->GetDigitalZoomLevel(), 1);
    EXPECT_TRUE(camera->GetAbilities().bHome && camera->GetAbilities().IsPanAndTiltable());
    EXPECT_FALSE(camera->GetAbilities().bFocusable);
    EXPECT_EQ(send(kCmdFocusNear), 0u);
    EXPECT_EQ(camera->Picture().GetSubString(SubString::DigitalZoom), "Digital zoom x0.32");
    EXPECT_FALSE(cell.IsTimerSet(81));  // no camera was sent anything
    cell.OnPtzCommand(kCmdPresetFirst);
    EXPECT_TRUE(cell.IsTimerSet(81));
}

}  // namespace
}  // namespace kvmon
