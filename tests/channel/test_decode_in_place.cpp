// Where the pictures of a stream are decoded: by the decode thread, and by the one that receives them once
// they have proved to take no time.
#include <gmock/gmock.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "channel/base/own_fault_texts.h"
#include "channel/camera/base_camera.h"
#include "channel/camera/default_factories.h"
#include "channel/decode/decode_loop.h"
#include "film.h"
#include "persist/string_table.h"
#include "stream_maker.h"
#include "support/camera_maker.h"
#include "support/fake_clock.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using kvtest::Film;
using kvtest::WaitUntil;
using testing::Each;
using testing::StrEq;

constexpr int kSide = 64;
constexpr auto kProved = static_cast<std::size_t>(DecodeLoop::kQuickPictures);
// A picture is shown a moment before its thread sleeps: the next ones may still find it awake.
constexpr std::size_t kUnderWay = 10;
constexpr char kDecodeThread[] = "kv-decode";
constexpr char kReceptionThread[] = "kv-video";

// The threads that the pictures were decoded on. Any thread.
struct DecodeLog {
    void Add() {
        std::array<char, 16> name{};
        pthread_getname_np(pthread_self(), name.data(), name.size());
        const std::lock_guard lock(mutex);
        threads.emplace_back(name.data());
    }
    std::vector<std::string> Threads(std::size_t from, std::size_t to) const {
        const std::lock_guard lock(mutex);
        return {threads.begin() + static_cast<std::ptrdiff_t>(std::min(from, threads.size())),
                threads.begin() + static_cast<std::ptrdiff_t>(std::min(to, threads.size()))};
    }

    mutable std::mutex mutex;
    std::vector<std::string> threads;
    std::function<void(std::size_t picture)> before = [](std::size_t) {};
};

// Decodes as ever, and notes where.
class NotingDecoder final : public VideoDecoder {
public:
    explicit NotingDecoder(DecodeLog& log) : m_log(log) {}

    int Init(const VideoDecoderParams& params) override { return m_decoder->Init(params); }
    int GetFrame(std::span<const std::uint8_t> input, DecodedPicture& output) override {
        m_log.Add();
        m_log.before(m_log.Threads(0, SIZE_MAX).size() - 1);
        return m_decoder->GetFrame(input, output);
    }
    void SetLeavesOut(bool bLeavesOut) override { m_decoder->SetLeavesOut(bLeavesOut); }
    void Close() override { m_decoder->Close(); }

private:
    DecodeLog& m_log;
    const std::unique_ptr<VideoDecoder> m_decoder = CreateVideoDecoder();
};

class DecodeInPlace : public testing::Test {
protected:
    DecodeInPlace() {
        Factories().videoDecoder = [this] { return std::make_unique<NotingDecoder>(log); };
    }
    ~DecodeInPlace() override {
        camera.reset();
        Factories() = before;
    }
    void Play(std::vector<std::string> records) {
        film = std::make_unique<Film>(std::move(records));
        camera = kvtest::MakeCamera(kvtest::SettingsOf(3, film->Port()), clock);
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::No);
    }
    std::uint64_t Shown() const { return camera->GetStatistics().shown; }
    // One after the other, as a camera sends them.
    void ShowTo(std::size_t count) {
        for (std::size_t i = sent; i < count; ++i) {
            const std::uint64_t shown = Shown();
            film->SendTo(i + 1);
            ASSERT_TRUE(WaitUntil([&] { return Shown() == shown + 1; })) << i;
        }
        sent = std::max(sent, count);
    }
    static std::vector<std::string> Pictures(std::uint32_t fourcc, const char* encoder, int count,
                                             int group) {
        kvtest::StreamMaker maker(encoder, kSide, kSide, group);
        std::vector<std::string> records;
        for (int i = 0; i < count; ++i) {
            const kvtest::Unit unit = maker.Next();
            records.push_back(kvtest::VideoRecord(fourcc, unit.key, kSide, kSide, unit.bytes));
        }
        return records;
    }

    const ChannelFactories before = Factories();
    DecodeLog log;
    kvtest::FakeClock clock;
    std::unique_ptr<Film> film;
    std::shared_ptr<CBaseCamera> camera;
    std::size_t sent = 0;
};

TEST_F(DecodeInPlace, QuickPicturesAreDecodedWhereTheyArrive) {
    Play(Pictures(wire::kZ264, "libx264", 60, 1000));
    ShowTo(60);
    EXPECT_THAT(log.Threads(0, kProved), Each(StrEq(kDecodeThread)));
    EXPECT_THAT(log.Threads(kProved + kUnderWay, 60), Each(StrEq(kReceptionThread)));
    EXPECT_EQ(camera->GetStatistics().failed, 0u);
    EXPECT_EQ(camera->GetStatistics().refused, 0u);
}

TEST_F(DecodeInPlace, ASlowPictureSendsTheWorkBackToItsThread) {
    constexpr std::size_t kSlow = 40;
    log.before = [this](std::size_t picture) {
        if (picture == kSlow) {
            clock.Advance(Milliseconds(DecodeLoop::kQuickMs + 1));
        }
    };
    Play(Pictures(wire::kZ264, "libx264", 80, 1000));
    ShowTo(80);
    EXPECT_THAT(log.Threads(kSlow, kSlow + 1), Each(StrEq(kReceptionThread)));
    EXPECT_THAT(log.Threads(kSlow + 1, kSlow + kProved), Each(StrEq(kDecodeThread)));
    EXPECT_THAT(log.Threads(kSlow + kProved + kUnderWay, 80), Each(StrEq(kReceptionThread)));
}

// What comes while a picture is decoded in place waits for it in the socket, and then goes its usual way.
TEST_F(DecodeInPlace, ABurstIsDecodedWhole) {
    Play(Pictures(wire::kZ264, "libx264", 200, 1000));
    ShowTo(60);
    film->SendTo(70);
    ASSERT_TRUE(WaitUntil([&] { return Shown() == 70; }));
    sent = 70;
    ShowTo(100);
    EXPECT_EQ(camera->GetStatistics().decoded, 100u);
    EXPECT_THAT(log.Threads(99, 100), Each(StrEq(kReceptionThread)));
}

TEST_F(DecodeInPlace, AnotherCodecAndAPauseFindTheirDecoder) {
    auto records = Pictures(wire::kZ264, "libx264", 40, 1000);
    const auto others = Pictures(wire::kZMP4, "mpeg4", 41, 1);
    records.insert(records.end(), others.begin(), others.end());
    Play(std::move(records));
    ShowTo(40);
    film->SendTo(41);  // a new codec costs its first picture
    ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().received == 41; }));
    sent = 41;
    ShowTo(81);
    EXPECT_THAT(log.Threads(78, 80), Each(StrEq(kReceptionThread)));

    camera->PausePlaying();
    camera->StartPlaying(PlaySound::No);
    ASSERT_TRUE(WaitUntil([&] {
        clock.Advance(Milliseconds(500));
        return Shown() > 81;
    })) << "the recorder begins anew";
}

TEST_F(DecodeInPlace, WhatFailsThereIsToldAndMendedByTheDecodeThread) {
    constexpr std::size_t kBad = 50;
    log.before = [](std::size_t picture) {
        if (picture == kBad) {
            throw std::bad_alloc();
        }
    };
    Play(Pictures(wire::kZ264, "libx264", 120, 10));
    ShowTo(kBad);
    film->SendTo(kBad + 1);
    const std::string told = LoadString(TextOf(OwnFault::NoMemory));
    ASSERT_TRUE(WaitUntil([&] { return camera->Picture().GetMainCaption() == told; }));
    // It rests for a second, and goes on at a key picture.
    std::size_t next = kBad + 1;
    EXPECT_TRUE(WaitUntil([&] {
        clock.Advance(Milliseconds(500));
        next = std::min<std::size_t>(next + 1, 120);
        film->SendTo(next);
        return Shown() > kBad + 2;
    }));
    EXPECT_THAT(log.Threads(kBad, kBad + 1), Each(StrEq(kReceptionThread)));
    EXPECT_THAT(log.Threads(kBad + 1, kBad + 2), Each(StrEq(kDecodeThread)));
}

// The user looks elsewhere in the middle of it: both threads end, and nothing is waited for on the way.
TEST_F(DecodeInPlace, AStopWaitsForThePictureThatIsDecoded) {
    std::atomic<bool> bIn = false;
    std::atomic<bool> bGo = false;
    log.before = [&](std::size_t picture) {
        if (picture == 40) {
            bIn = true;
            WaitUntil([&] { return bGo.load(); });
        }
    };
    Play(Pictures(wire::kZ264, "libx264", 41, 1000));
    ShowTo(40);
    film->SendTo(41);
    ASSERT_TRUE(WaitUntil([&] { return bIn.load(); }));
    EXPECT_FALSE(camera->StopCameraThreads(StopWait::Brief));
    bGo = true;
    EXPECT_TRUE(WaitUntil([&] { return camera->StopCameraThreads(StopWait::Brief); }));
    EXPECT_EQ(Worker::AbandonedCount(), 0);
}

TEST_F(DecodeInPlace, ADecoderThatHangsIsLeftBehindAndTheNextStartPlays) {
    std::atomic<bool> bIn = false;
    std::atomic<bool> bGo = false;
    log.before = [&](std::size_t picture) {
        if (picture == 40) {
            bIn = true;
            WaitUntil([&] { return bGo.load(); }, std::chrono::minutes(1));
        }
    };
    Play(Pictures(wire::kZ264, "libx264", 41, 1));
    ShowTo(40);
    film->SendTo(41);
    ASSERT_TRUE(WaitUntil([&] { return bIn.load(); }));
    Worker::LimitWaits(Milliseconds(500));
    EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
    Worker::LimitWaits(std::nullopt);
    EXPECT_GE(Worker::AbandonedCount(), 2) << "who receives, and whose decoder it is";

    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::No);
    EXPECT_TRUE(WaitUntil([&] { return Shown() > 40; })) << "while the old one hangs";
    const auto threads = log.Threads(41, SIZE_MAX);
    EXPECT_THAT(threads, Each(StrEq(kDecodeThread)));
    bGo = true;
    EXPECT_TRUE(WaitUntil([] { return Worker::AbandonedCount() == 0; }));
}

}  // namespace
}  // namespace kvmon
