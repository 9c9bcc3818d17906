#include "channel/cell/video_wnd.h"

#include <gmock/gmock.h>

#include <QtGui/QImage>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QApplication>
#include <map>
#include <thread>

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/cell/channel_view.h"
#include "skin/input_messages.h"
#include "skin/skin_messages.h"
#include "support/camera_maker.h"
#include "support/message_log.h"
#include "support/wait_until.h"
#include "test_frames.h"

namespace kvmon {
namespace {

constexpr QRgb kCellGround = qRgb(155, 154, 159);
constexpr QRgb kActive = qRgb(229, 145, 72);
constexpr QRgb kInactive = qRgb(81, 79, 84);
constexpr QRgb kPictureGround = qRgb(10, 10, 44);

// The console, as far as a cell sees it.
class Console final : public WindowBase {
public:
    std::vector<kvtest::Message> messages;

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override {
        messages.push_back({message, wParam, lParam});
        return 0;
    }
};

std::shared_ptr<CBaseCamera> MakeGate(std::uint32_t monitorRight = 1) {
    CameraSettings settings = kvtest::SettingsOf(0);
    settings.m_bMonitorRight = monitorRight;
    auto camera = kvtest::MakeCamera(settings);
    camera->SetCameraName("Gate & <b>yard</b>");
    return camera;
}

class Cell : public testing::Test {
protected:
    Cell() {
        cell.SetParentWnd(&console);
        cell.SetOwner(console.Handle());
        cell.resize(200, 150);
    }
    ~Cell() override { cell.SetCamera(nullptr); }

    QImage Picture() {
        QImage image(cell.size(), QImage::Format_RGB32);
        cell.render(&image);
        return image;
    }
    static void Press(QWidget& window, QEvent::Type type, Qt::MouseButton button, QPoint at) {
        QMouseEvent event(type, at, window.mapToGlobal(at), button, button, Qt::NoModifier);
        QApplication::sendEvent(&window, &event);
    }
    std::vector<std::uint32_t> Received() {
        QApplication::sendPostedEvents();
        std::vector<std::uint32_t> numbers;
        for (const auto& message : console.messages) {
            numbers.push_back(message.number);
        }
        console.messages.clear();
        return numbers;
    }
    using Numbers = std::vector<std::uint32_t>;

    Console console;
    CVideoWnd cell;
};

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
        cell.SetWindowActive(bActive, false);
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

TEST_F(Cell, TheActiveOneTellsThePanelOfAnotherCamera) {
    const auto camera = MakeGate();
    cell.SetCamera(camera);
    cell.SetWindowActive(true, false);
    Received();
    cell.SetCamera(camera);
    EXPECT_EQ(Received(), Numbers{});
    cell.SetCamera(MakeGate());
    EXPECT_EQ(Received(), Numbers{WM_COMMAND});
    cell.SetCamera(nullptr);
    EXPECT_EQ(Received(), Numbers{WM_COMMAND});
    cell.SetWindowActive(false, false);
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

// A cell whose channel has a picture of 640 x 480 on show, 200 x 150 as it is drawn.
class ZoomedCell : public Cell {
protected:
    ZoomedCell() {
        cell.resize(204, 175);
        cell.SetCamera(camera);
        cell.SetWindowActive(true, false);
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

std::vector<std::pair<CellIcon, int>> Placed(const CellState& state, int right, int left = INT_MIN) {
    std::vector<std::pair<CellIcon, int>> placed;
    for (const PlacedIcon& icon : PlaceIcons(state, right, left)) {
        placed.emplace_back(icon.icon, icon.x);
    }
    return placed;
}

TEST(CellIcons, StandInOrderFromTheRight) {
    using Icons = std::vector<std::pair<CellIcon, int>>;
    CellState state{.bPtz = true, .bPtzOpen = false, .bDigitalZoom = true, .bSound = true};
    state.bSoundOpen = state.bTold = true;
    state.flags = {1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(Placed(state, 300), (Icons{{CellIcon::PtzOff, 282},
                                         {CellIcon::DigitalZoom, 264},
                                         {CellIcon::SoundOn, 246},
                                         {CellIcon::Connected, 220},
                                         {CellIcon::Recording, 194},
                                         {CellIcon::Event, 168},
                                         {CellIcon::Motion, 150},
                                         {CellIcon::SignalLoss, 132},
                                         {CellIcon::Input, 114},
                                         {CellIcon::Alarm, 96}}));
    state = {};
    state.flags[1] = 1;
    EXPECT_EQ(Placed(state, 100), (Icons{{CellIcon::Recording, 74}}));
    state.bManual = true;
    EXPECT_EQ(Placed(state, 100), (Icons{{CellIcon::ManualRecording, 74}}));
    state.bTold = true;  // and then what is missing is known
    EXPECT_EQ(Placed(state, 100), (Icons{{CellIcon::NotConnected, 74}, {CellIcon::ManualRecording, 48}}));
    EXPECT_TRUE(PlaceIcons({}, 100).empty());
    // What says least makes room.
    state.flags = {1, 1, 0, 1, 1, 0, 1};
    EXPECT_EQ(Placed(state, 100, 21),
              (Icons{{CellIcon::ManualRecording, 74}, {CellIcon::SignalLoss, 56}, {CellIcon::Alarm, 38}}));
    EXPECT_EQ(Placed(state, 100, 80), (Icons{{CellIcon::SignalLoss, 82}}));
    EXPECT_TRUE(PlaceIcons(state, 100, 90).empty());
}

}  // namespace
}  // namespace kvmon
