// Pictures at their own times: the reckoning, and a channel that follows it.
#include <gmock/gmock.h>

#include <QtWidgets/QWidget>
#include <algorithm>
#include <cstdlib>

#include "channel/base/channel_globals.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "channel/decode/picture_pacer.h"
#include "film.h"
#include "stream_maker.h"
#include "support/camera_maker.h"
#include "support/fake_clock.h"
#include "support/qt_pump.h"

namespace kvmon {
namespace {

using kvtest::PumpUntil;

constexpr std::uint64_t kStep = 40;
constexpr std::uint64_t kBegin = 1'000'000;

struct Played {
    std::vector<std::uint64_t> shown;  // when
    std::uint64_t mostHeld = 0;
};

// Pictures of one distance whose ways take so many milliseconds, by turns.
Played Play(PicturePacer& pacer, int count, const std::vector<std::uint64_t>& ways,
            std::uint64_t step = kStep) {
    Played played;
    std::uint64_t free = 0;  // the thread that shows waits for one after the other
    for (int i = 0; i < count; ++i) {
        const auto number = static_cast<std::uint64_t>(i);
        const std::uint64_t ready = std::max(free, kBegin + number * kStep + ways[number % ways.size()]);
        const std::uint64_t held = pacer.HoldFor(77'000 + number * step, ready, 0);
        played.mostHeld = std::max(played.mostHeld, held);
        free = ready + held;
        played.shown.push_back(free);
    }
    return played;
}

// The greatest difference of a distance from the right one, of the last 50 pictures.
std::uint64_t Unevenness(const std::vector<std::uint64_t>& times) {
    std::uint64_t most = 0;
    for (std::size_t i = times.size() - 50; i < times.size(); ++i) {
        const auto distance = static_cast<std::int64_t>(times[i] - times[i - 1]);
        most = std::max(most, static_cast<std::uint64_t>(std::abs(distance - std::int64_t{kStep})));
    }
    return most;
}

TEST(PicturePacer, LeavesAnEvenStreamAlone) {
    PicturePacer pacer;
    EXPECT_EQ(Play(pacer, 500, {3, 5, 3, 8, 4}).mostHeld, 0u);
    EXPECT_LE(pacer.JitterMs(), 5u);
}

TEST(PicturePacer, HoldsTheEarlyOfAnUnevenStreamForTheLate) {
    PicturePacer pacer;
    const Played played = Play(pacer, 500, {2, 30, 5, 28, 12});
    EXPECT_GE(pacer.JitterMs(), 15u);
    EXPECT_LE(Unevenness(played.shown), 12u) << "28 as they come";
    EXPECT_LE(played.mostHeld, 30u);
}

TEST(PicturePacer, AddsNoMoreThanItsBoundHoweverUnevenTheStreamIs) {
    PicturePacer pacer;
    EXPECT_LE(Play(pacer, 500, {0, 300, 20, 500}).mostHeld, PicturePacer::kMostHeldMs);
    EXPECT_EQ(pacer.HoldFor(77'000 + 500 * kStep, kBegin + 500 * kStep, PicturePacer::kMostWaiting), 0u);
}

TEST(PicturePacer, ShowsAtOnceWhatHasNoTimeOfItsOwn) {
    const std::vector<std::uint64_t> ways{0, 30};
    PicturePacer none;
    PicturePacer same;
    PicturePacer back;
    PicturePacer apart;
    for (std::uint64_t i = 0; i < 100; ++i) {
        const std::uint64_t ready = kBegin + i * kStep + ways[i % 2];
        EXPECT_EQ(none.HoldFor(0, ready, 0), 0u);
        EXPECT_EQ(same.HoldFor(77, ready, 0), 0u);
        EXPECT_EQ(back.HoldFor(10'000'000 - i * kStep, ready, 0), 0u);
        EXPECT_EQ(apart.HoldFor(77 + i * 90'000, ready, 0), 0u);
    }
    // A clock that counts in something else, and one that is set.
    PicturePacer pacer;
    EXPECT_EQ(Play(pacer, 300, {0, 5}, 1).mostHeld, 0u);
    EXPECT_GT(Play(pacer, 300, {0, 30}).mostHeld, 0u);
    EXPECT_EQ(pacer.HoldFor(std::uint64_t{1} << 60, kBegin + 300 * kStep, 0), 0u);
    EXPECT_EQ(pacer.JitterMs(), 0u);
}

// A cell in a window, a recorder that tells its pictures' times, and a clock that stands still.
class PacedCell : public testing::Test {
protected:
    PacedCell() {
        window.resize(200, 160);
        cell.resize(200, 160);
        window.show();
        cell.SetCamera(camera);
        camera->Picture().SetShowSubStringMask(1u << static_cast<unsigned>(SubString::Jitter));
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::No);
    }
    ~PacedCell() override {
        Globals().pacesPictures = true;
        cell.SetCamera(nullptr);
        camera->StopCameraThreads(StopWait::ToTheEnd);
    }
    static std::vector<std::string> Records() {
        kvtest::StreamMaker maker("libx264", 64, 48);
        std::vector<std::string> records;
        for (std::uint64_t i = 0; i < 40; ++i) {
            const kvtest::Unit unit = maker.Next();
            std::string record = kvtest::VideoRecord(wire::kZ264, unit.key, 64, 48, unit.bytes);
            for (std::size_t byte = 0; byte < 8; ++byte) {
                record[wire::kOpaqueOffset + byte] =
                    static_cast<char>((5'000 + i * kStep) >> 8 * byte & 0xFF);
            }
            records.push_back(std::move(record));
        }
        return records;
    }
    // Somebody waits for as short a time as a picture is held back, and nothing else is.
    bool IsHeld() const {
        const auto waits = clock.Waits();
        return std::any_of(waits.begin(), waits.end(),
                           [](Milliseconds wait) { return wait <= Milliseconds(PicturePacer::kMostHeldMs); });
    }
    std::uint64_t Shown() const { return camera->GetStatistics().shown; }
    // The next record comes so many milliseconds behind the one before.
    void Next(std::uint64_t ms) {
        clock.Advance(Milliseconds(ms));
        film.SendTo(++sent);
        ASSERT_TRUE(PumpUntil([&] { return camera->GetStatistics().decoded == sent; }));
    }

    kvtest::FakeClock clock;
    kvtest::Film film{Records()};
    std::shared_ptr<CBaseCamera> camera = kvtest::MakeCamera(kvtest::SettingsOf(5, film.Port()), clock);
    QWidget window;
    CVideoWnd cell{&window};
    std::uint64_t sent = 0;
};

TEST_F(PacedCell, HoldsAnEarlyPictureAndTellsOfIt) {
    ASSERT_NO_FATAL_FAILURE(Next(0));
    for (int i = 0; i < 15; ++i) {
        ASSERT_NO_FATAL_FAILURE(Next(kStep + 25));  // late; none of these is held
        ASSERT_TRUE(PumpUntil([&] { return Shown() == sent; }));
        ASSERT_NO_FATAL_FAILURE(Next(kStep - 25));
        ASSERT_TRUE(PumpUntil([&] { return Shown() == sent || IsHeld(); }));
        if (Shown() != sent) {
            clock.Advance(Milliseconds(PicturePacer::kMostHeldMs));  // more than it may take
            ASSERT_TRUE(PumpUntil([&] { return Shown() == sent; }));
            EXPECT_THAT(camera->Picture().GetSubString(SubString::Jitter),
                        testing::MatchesRegex("Jitter of arrival: [1-9][0-9]* ms \\(\\+[1-9][0-9]* ms\\)"));
            return;
        }
    }
    FAIL() << "no picture was held";
}

TEST_F(PacedCell, WithTheSwitchOffEachIsShownAtOnce) {
    Globals().pacesPictures = false;
    ASSERT_NO_FATAL_FAILURE(Next(0));
    for (int i = 0; i < 15; ++i) {
        ASSERT_NO_FATAL_FAILURE(Next(i % 2 == 0 ? kStep + 25 : kStep - 25));
        ASSERT_TRUE(PumpUntil([&] { return Shown() == sent; }));
    }
}

}  // namespace
}  // namespace kvmon
