// A channel whose window nobody can see: what is decoded, what is kept, and how soon it is live again.
#include <gmock/gmock.h>

#include <QtGui/QWindow>
#include <QtWidgets/QWidget>
#include <memory>

#include "channel/base/channel_globals.h"
#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/channel_view.h"
#include "channel/cell/video_wnd.h"
#include "channel/frames/frame_queue.h"
#include "film.h"
#include "skin/sight.h"
#include "stream_maker.h"
#include "support/camera_maker.h"
#include "support/fake_clock.h"
#include "support/message_log.h"
#include "support/qt_pump.h"

namespace kvmon {
namespace {

using kvtest::Film;
using kvtest::PumpUntil;

constexpr int kFilmWidth = 64;
constexpr int kFilmHeight = 48;
constexpr int kGroup = 8;

std::vector<std::string> FilmOf(int count, int group = kGroup) {
    kvtest::StreamMaker maker("libx264", kFilmWidth, kFilmHeight, group);
    return kvtest::RecordList(wire::kZ264, maker, kFilmWidth, kFilmHeight, count);
}

std::vector<std::string> Jpegs(int count) {
    kvtest::StreamMaker maker("mjpeg", kFilmWidth, kFilmHeight);
    return kvtest::RecordList(wire::kZIVG, maker, kFilmWidth, kFilmHeight, count);
}

// A window with one cell on the screen, and a recorder behind it.
class Unseen : public testing::Test {
protected:
    ~Unseen() override {
        Globals().keepUnseen = true;
        cell.SetCamera(nullptr);
        camera.reset();
    }
    void Open(std::vector<std::string> records, Clock& itsClock = SystemClock()) {
        film = std::make_unique<Film>(std::move(records));
        camera = kvtest::MakeCamera(kvtest::SettingsOf(5, film->Port()), itsClock);
        camera->SetCHInMainDlg(2);
        window.resize(200, 160);
        cell.resize(200, 160);
        window.show();
        cell.SetCamera(camera);
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::No);
    }
    ChannelStatistics Counts() const { return camera->GetStatistics(); }
    bool HasReceived(std::uint64_t count) {
        return PumpUntil([&] { return Counts().received == count; });
    }
    void PlayAndMinimise(std::size_t count = 3) {
        film->SendTo(count);
        ASSERT_TRUE(PumpUntil([&] { return Counts().shown == 3; }));
        window.showMinimized();
        ASSERT_TRUE(PumpUntil([&] { return camera->IsKept(); }));
    }
    // What the user sees is the picture of this number. The lower half of a picture is an inverted ramp.
    bool Shows(int picture, bool bFullRange = false) {
        const QImage seen = window.grab().toImage();
        const QRect view = cell.View().geometry();
        const int luma =
            kvtest::StreamMaker::Luma(picture, kFilmWidth / 2, kFilmHeight / 4, kFilmWidth, kFilmHeight);
        const QPoint at(view.left() + view.width() / 2, view.top() + view.height() / 4);
        return std::abs(qGreen(seen.pixel(at)) - (bFullRange ? luma : (luma - 16) * 255 / 219)) < 3;
    }

    kvtest::FakeClock clock;
    std::unique_ptr<Film> film;
    std::shared_ptr<CBaseCamera> camera;
    QWidget window;
    CVideoWnd cell{&window};
};

TEST_F(Unseen, AMinimisedWindowDecodesNothingAndIsBackWithTheNewestPicture) {
    Open(FilmOf(14));
    PlayAndMinimise();
    film->SendTo(12);  // a group begins with the eighth
    ASSERT_TRUE(PumpUntil([&] { return Counts().unseen == 5; }));
    ASSERT_TRUE(HasReceived(12));
    EXPECT_EQ(Counts().decoded, 3u);
    EXPECT_TRUE(camera->IsLive()) << "the stream goes on";

    window.showNormal();
    ASSERT_TRUE(PumpUntil([&] { return Shows(11); }));
    EXPECT_EQ(Counts().decoded, 7u) << "the group that was kept";
    EXPECT_LE(Counts().shown, 5u) << "no film run fast";
    const auto shown = Counts().shown;
    film->SendTo(14);
    EXPECT_TRUE(PumpUntil([&] { return Shows(13); }));
    EXPECT_EQ(Counts().shown, shown + 2);
    EXPECT_EQ(Counts().refused, 0u);
}

TEST_F(Unseen, AHiddenAndACoveredWindowDoTheSame) {
    Open(FilmOf(14));
    film->SendTo(3);
    ASSERT_TRUE(PumpUntil([&] { return Counts().shown == 3; }));
    window.hide();
    EXPECT_TRUE(camera->IsKept());
    window.show();
    ASSERT_TRUE(PumpUntil([&] { return !camera->IsKept(); }));
    window.windowHandle()->setProperty(kCoveredWindow, true);
    EXPECT_TRUE(camera->IsKept());
    film->SendTo(12);
    ASSERT_TRUE(PumpUntil([&] { return Counts().unseen == 5; }));
    window.windowHandle()->setProperty(kCoveredWindow, false);
    EXPECT_TRUE(PumpUntil([&] { return Shows(11); }));
    // A cell that goes over the whole screen stands in another window, which covers its own.
    cell.View().SetFullScreen(true);
    window.hide();
    EXPECT_TRUE(PumpUntil([&] { return !camera->IsKept(); }));
    cell.View().hide();
    EXPECT_TRUE(camera->IsKept());
    cell.View().show();
    cell.View().SetFullScreen(false);
    EXPECT_TRUE(camera->IsKept());
}

TEST_F(Unseen, OfPlainPicturesTheNewestIsKept) {
    Open(Jpegs(9));
    PlayAndMinimise(4);  // the first one is not taken: it may be the rest of another stream
    film->SendTo(9);
    ASSERT_TRUE(PumpUntil([&] { return Counts().unseen == 4; }));
    window.showNormal();
    EXPECT_TRUE(PumpUntil([&] { return Shows(8, true); }));
    EXPECT_EQ(Counts().decoded, 4u);
}

TEST_F(Unseen, AGroupThatIsTooLongWaitsForTheNextKeyFrame) {
    const int tooMany = static_cast<int>(FrameQueue::kMostUnseen) + 5;
    auto records = FilmOf(tooMany, 1000);
    for (std::string& record : FilmOf(2)) {
        records.push_back(std::move(record));
    }
    Open(std::move(records));
    PlayAndMinimise();
    film->SendTo(static_cast<std::size_t>(tooMany));
    ASSERT_TRUE(PumpUntil([&] { return Counts().unseen == static_cast<std::uint64_t>(tooMany) - 3; }));
    window.showNormal();
    ASSERT_TRUE(PumpUntil([&] { return !camera->IsKept(); }));
    EXPECT_EQ(Counts().decoded, 3u);
    film->SendTo(static_cast<std::size_t>(tooMany) + 2);
    EXPECT_TRUE(PumpUntil([&] { return Shows(1); }));
    EXPECT_EQ(Counts().decoded, 5u);
}

TEST_F(Unseen, TheFirstPictureAndOneThatIsWaitedForAreDecodedAllTheSame) {
    window.showMinimized();
    const auto watcher = std::make_shared<kvtest::MessageLog>();
    Open(FilmOf(6));
    window.showMinimized();
    camera->SetNotifyWnd(WindowHandle(watcher));
    film->SendTo(1);
    ASSERT_TRUE(PumpUntil([&] { return camera->IsKept(); }));
    EXPECT_EQ(Counts().shown, 1u);
    EXPECT_EQ(watcher->All().size(), 1u);
    film->SendTo(5);
    ASSERT_TRUE(HasReceived(5));
    EXPECT_EQ(Counts().shown, 1u);

    std::atomic<bool> called{false};
    camera->WhenShown([&] { called = true; });
    ASSERT_TRUE(PumpUntil([&] { return Counts().decoded == 5; }));
    EXPECT_TRUE(PumpUntil([&] { return called.load() && camera->IsKept(); }));
    film->SendTo(6);
    ASSERT_TRUE(HasReceived(6));
    EXPECT_EQ(Counts().decoded, 5u);
    // After a pause it is a first picture again.
    camera->PausePlaying();
    EXPECT_FALSE(camera->IsKept());
}

TEST_F(Unseen, AStreamThatIsLostMeanwhileIsToldAndOneThatGoesOnIsNot) {
    Open(FilmOf(8), clock);
    PlayAndMinimise();
    for (const std::size_t sent : {4u, 5u}) {
        clock.Advance(Milliseconds(kStillMs - 1));
        film->SendTo(sent);
        ASSERT_TRUE(HasReceived(sent));
        camera->UpdateStill();
        EXPECT_TRUE(PumpUntil([&] { return camera->IsLive(); }));
        EXPECT_EQ(camera->Picture().GetStillSeconds(), 0);
    }
    clock.Advance(Milliseconds(kStillMs));
    camera->UpdateStill();
    EXPECT_FALSE(camera->IsLive());
    EXPECT_GT(camera->Picture().GetStillSeconds(), 0);
}

TEST_F(Unseen, WithTheSwitchOffAllIsDecoded) {
    Globals().keepUnseen = false;
    Open(FilmOf(6));
    film->SendTo(3);
    ASSERT_TRUE(PumpUntil([&] { return Counts().shown == 3; }));
    window.showMinimized();
    film->SendTo(6);
    EXPECT_TRUE(PumpUntil([&] { return Counts().shown == 6; }));
}

// What nobody sees must neither end its stream nor take the others' memory.
TEST(UnseenFrames, GiveTheirPlaceWhenTheBudgetIsUsedUp) {
    constexpr std::uint32_t kSize = 100'000;
    const std::atomic<std::uint32_t> number{1};
    const auto budget = std::make_shared<FrameBudget>(4 * kSize);
    FrameQueue frames(number, budget);
    Event event;
    frames.SetPlaying(true);
    frames.SetUnseen(true);
    for (int i = 0; i < 20; ++i) {
        auto frame = frames.NewDecodeFrame(0, kSize);
        ASSERT_NE(frame, nullptr) << i;
        frame->SetLength(kSize);
        KELVARA_FRAME_HDR head;
        head.dwKeyFlag = i == 0 ? 1 : 0;
        frames.AddWrappedFrame(head, std::move(frame), &event);
    }
    EXPECT_FALSE(event.IsSet());
    EXPECT_EQ(frames.GetCount(), 0u);
    EXPECT_EQ(frames.GetRefused(), 0u);
    EXPECT_GT(frames.GetUnseen(), 15u);
    EXPECT_LE(budget->Held(), budget->Most());
}

}  // namespace
}  // namespace kvmon
