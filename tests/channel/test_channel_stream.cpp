// A channel as a whole, against a scripted recorder.
#include <gmock/gmock.h>

#include <QtGui/QPainter>

#include "channel/base/channel_messages.h"
#include "channel/base/channel_thread.h"
#include "channel/camera/base_camera.h"
#include "channel/camera/default_factories.h"
#include "skin/skin_messages.h"
#include "stream_maker.h"
#include "support/camera_maker.h"
#include "support/fake_clock.h"
#include "support/message_log.h"
#include "support/scripted_server.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using kvtest::FakeClock;
using kvtest::HttpReply;
using kvtest::Peer;
using kvtest::SendAndHold;
using kvtest::StreamMaker;
using kvtest::WaitUntil;

// A recorder that has nothing but streams.
class StreamServer : public kvtest::ScriptedServer {
public:
    explicit StreamServer(Script script) : ScriptedServer(std::move(script), "getstream.cgi") {}
};

CameraSettings SettingsFor(std::uint16_t port) {
    return kvtest::SettingsOf(5, port);
}

std::shared_ptr<CBaseCamera> Camera(std::uint16_t port, Clock& clock = SystemClock()) {
    auto camera = kvtest::MakeCamera(SettingsFor(port), clock);
    camera->SetCHInMainDlg(2);
    return camera;
}

std::string Pictures(int count, int width = 64, int height = 48) {
    StreamMaker maker("libx264", width, height);
    return kvtest::Records(wire::kZ264, maker, width, height, count);
}

void Silent(Peer& peer) {
    peer.ReadHead();
    peer.Hold();
}

TEST(ChannelStream, AsksByTheLetter) {
    StreamServer server(Silent);
    const auto camera = Camera(server.Port());
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::No);
    ASSERT_TRUE(server.WaitForHeads(1));
    EXPECT_EQ(server.Heads()[0],
              "GET /cgi-bin/getstream.cgi?ch=5&stream_id=0  HTTP/1.0\r\nHost: 127.0.0.1\r\n"
              "Connection: Keep-Alive\r\nAuthorization: Basic dXNlcjpwYXNz\r\n\r\n");
}

TEST(ChannelStream, CutsALongAuthorization) {
    StreamServer server(Silent);
    CameraSettings settings = SettingsFor(server.Port());
    settings.m_lpszSvrBase64Auth = std::string(200, 'A');
    const auto camera = kvtest::MakeCamera(settings);
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::No);
    ASSERT_TRUE(server.WaitForHeads(1));
    EXPECT_THAT(server.Heads()[0], testing::HasSubstr("Basic " + std::string(63, 'A') + "\r\n\r\n"));
}

TEST(ChannelStream, ShowsPicturesAndTellsOfTheFirst) {
    StreamServer server(SendAndHold(HttpReply(200, "OK", Pictures(5))));
    const auto console = std::make_shared<kvtest::MessageLog>();
    const auto watcher = std::make_shared<kvtest::MessageLog>();
    const auto camera = Camera(server.Port());
    camera->SetConsoleWnd(WindowHandle(console));
    camera->SetNotifyWnd(WindowHandle(watcher));
    camera->StartCameraThreads();
    EXPECT_FALSE(camera->IsVideoRunning());
    camera->StartPlaying(PlaySound::No);
    EXPECT_TRUE(camera->IsVideoRunning());
    ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown == 5; }));
    EXPECT_TRUE(camera->IsStreamRunning());
    EXPECT_THAT(console->All(), testing::ElementsAre(kvtest::Message{kMsgSizeChange, 2, 0},
                                                     kvtest::Message{WM_COMMAND, 1757, 0}));
    EXPECT_THAT(watcher->All(), testing::ElementsAre(kvtest::Message{kMsgFirstData, 2, 0}));
    EXPECT_TRUE(camera->Picture().HasPicture());

    // After a pause the next first picture is told of again, but the watcher was told once and for all.
    camera->PausePlaying();
    EXPECT_FALSE(camera->IsStreamRunning());
    EXPECT_FALSE(camera->IsVideoRunning());
    camera->StartPlaying(PlaySound::No);
    ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown == 10; }));
    EXPECT_EQ(console->All().size(), 3u);
    EXPECT_EQ(watcher->All().size(), 1u);
    EXPECT_EQ(server.ConnectionCount(), 2);
    ASSERT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
    EXPECT_FALSE(camera->Picture().HasPicture());
}

TEST(ChannelStream, APausedChannelReceivesNothing) {
    const std::string pictures = Pictures(1);
    std::atomic<bool> closed{false};
    StreamServer server([&](Peer& peer) {
        peer.ReadHead();
        peer.Write(HttpReply(200, "OK", ""));
        while (peer.Write(pictures)) {
        }
        closed = true;
    });
    const auto camera = Camera(server.Port());
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::No);
    ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown > 3; }));
    camera->PausePlaying();
    EXPECT_TRUE(WaitUntil([&] { return closed.load(); })) << "a flooding peer has to notice";
    EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
    EXPECT_EQ(server.ConnectionCount(), 1);
}

TEST(ChannelStream, APausedChannelThatNobodySeesKeepsItsPictureAlone) {
    StreamServer server(SendAndHold(HttpReply(200, "OK", Pictures(5, 320, 240))));
    const auto budget = std::make_shared<FrameBudget>();
    const CameraSettings settings = SettingsFor(server.Port());
    const auto camera = CreateCamera(&settings, SystemClock(), budget);
    *camera = settings;
    const auto view = std::make_shared<kvtest::MessageLog>();
    camera->SetViewWnd(WindowHandle(view), nullptr);
    camera->SetViewSize(640, 480);
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::No);
    ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown == 5; }));
    EXPECT_GT(camera->Picture().GetWorkBytes(), 640u * 480 * 4);
    EXPECT_GT(budget->Held(), 0u);
    camera->SetViewWnd({}, nullptr);
    camera->PausePlaying();
    EXPECT_TRUE(WaitUntil([&] { return camera->Picture().GetWorkBytes() == 0 && budget->Held() == 0; }));
    EXPECT_TRUE(camera->Picture().HasPicture());

    // A view that comes back gets it at once, and new ones behind it.
    camera->SetViewWnd(WindowHandle(view), nullptr);
    QImage image(640, 480, QImage::Format_RGB32);
    QPainter painter(&image);
    EXPECT_TRUE(camera->Picture().Paint(painter, 640, 480));
    EXPECT_GT(camera->Picture().GetWorkBytes(), 640u * 480 * 4);
    camera->StartPlaying(PlaySound::No);
    EXPECT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown == 10; }));
}

TEST(ChannelStream, ASecondStartChangesNothing) {
    StreamServer server(SendAndHold(HttpReply(200, "OK", Pictures(2))));
    const auto camera = Camera(server.Port());
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::No);
    camera->StartPlaying(PlaySound::Yes);
    ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown == 2; }));
    camera->StartPlaying(PlaySound::No);
    EXPECT_EQ(server.ConnectionCount(), 1);
}

TEST(ChannelStream, RestartAndANewViewSizeReconnect) {
    StreamServer server(SendAndHold(HttpReply(200, "OK", Pictures(1))));
    const auto camera = Camera(server.Port());
    camera->SetStreamProfiles({{"q", 0, 10}, {"v", 2, 12}});
    EXPECT_TRUE(camera->SetViewSize(100, 100)) << "not running: the caller has to start it";
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::No);
    ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown == 1; }));
    camera->RestartPlaying();
    ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown == 2; }));
    EXPECT_FALSE(camera->SetViewSize(110, 110)) << "the same stream serves";
    EXPECT_FALSE(camera->SetViewSize(640, 480));
    ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown == 3; }));
    EXPECT_EQ(camera->Picture().GetSubString(SubString::View), "View: 640 x 480");
    EXPECT_EQ(camera->Picture().GetSubString(SubString::StreamFrom), "Stream From: Server");
    const std::vector<std::string> heads = server.Heads();
    ASSERT_EQ(heads.size(), 3u);
    EXPECT_THAT(heads[0], testing::HasSubstr("stream_id=10 "));
    EXPECT_THAT(heads[1], testing::HasSubstr("stream_id=10 "));
    EXPECT_THAT(heads[2], testing::HasSubstr("stream_id=12 "));
}

TEST(ChannelStream, AViewSizeDuringTheConnectLeavesItAlone) {
    std::atomic<int> bare{0};
    std::atomic<int> streams{0};
    const std::string reply = HttpReply(200, "OK", Pictures(1));
    kvtest::ScriptedServer server([&](Peer& peer) {
        const std::string head = peer.ReadHead();
        bare += head.empty() ? 1 : 0;
        if (head.find("getstream.cgi") == std::string::npos) {
            peer.Write(HttpReply(200, "OK", "0\r\n<audio_enabled>1</audio_enabled>\r\n"));
            return;
        }
        ++streams;
        peer.Write(reply);
        peer.Hold();
    });
    for (int i = 1; i <= 20; ++i) {
        const auto camera = Camera(server.Port());
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::No);
        for (int width = 100; camera->GetStatistics().received == 0; ++width) {
            ASSERT_LT(width, 10'000'000);
            camera->SetViewSize(width, 100);
        }
        EXPECT_EQ(streams, i);
        ASSERT_TRUE(WaitUntil([&] { return camera->IsCameraInfoLoaded(); }));
    }
    EXPECT_EQ(bare, 0);
}

// The first key frame of every connection is shown: none is lost to the decoder of the one before.
TEST(ChannelStream, EveryReconnectShowsItsFirstPicture) {
    std::string reply = HttpReply(200, "OK", Pictures(1));
    StreamServer server(SendAndHold(reply));
    const auto camera = Camera(server.Port());
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::No);
    for (std::uint64_t i = 1; i <= 20; ++i) {
        ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown == i; })) << i;
        camera->RestartPlaying();
    }
}

TEST(ChannelStream, FailsForEverWithItsWaits) {
    FakeClock clock(true);
    std::mutex mutex;
    std::vector<std::uint64_t> ticks;  // of the first ten requests
    StreamServer server([&](Peer& peer) {
        peer.ReadHead();
        bool last = false;
        {
            const std::lock_guard lock(mutex);
            ticks.push_back(clock.TickMs());
            last = ticks.size() == 10;
        }
        if (!last) {
            peer.Write(HttpReply(401, "Unauthorized", ""));
        } else {
            peer.Hold();
        }
    });
    const auto camera = Camera(server.Port(), clock);
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::No);
    ASSERT_TRUE(WaitUntil([&] {
        const std::lock_guard lock(mutex);
        return ticks.size() == 10;
    }));
    EXPECT_EQ(camera->Picture().GetMainCaption(), "Unauthorized");
    camera->StopCameraThreads(StopWait::ToTheEnd);
    std::vector<std::uint64_t> seconds;
    for (std::size_t i = 1; i < ticks.size(); ++i) {
        seconds.push_back((ticks[i] - ticks[i - 1]) / 1000);
    }
    EXPECT_THAT(seconds, testing::ElementsAre(1, 1, 5, 5, 5, 5, 5, 15, 15));
}

TEST(ChannelStream, TheFirstPictureTakesTheCaptionAway) {
    FakeClock clock(true);
    std::atomic<bool> good{false};
    const std::string pictures = HttpReply(200, "OK", Pictures(1));
    StreamServer server([&](Peer& peer) {
        peer.ReadHead();
        if (!good) {
            peer.Write(HttpReply(401, "Unauthorized", ""));
            return;
        }
        peer.Write(pictures);
        peer.Hold();
    });
    const auto camera = Camera(server.Port(), clock);
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::No);
    ASSERT_TRUE(WaitUntil([&] { return camera->Picture().GetMainCaption() == "Unauthorized"; }));
    good = true;
    ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown == 1; }));
    EXPECT_EQ(camera->Picture().GetMainCaption(), "");
}

TEST(ChannelStream, AnUnusableChannelStaysStill) {
    StreamServer server(Silent);
    CameraSettings settings = SettingsFor(server.Port());
    settings.m_bMonitorRight = 0;
    const auto camera = kvtest::MakeCamera(settings);
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::Yes);
    EXPECT_FALSE(camera->IsVideoRunning());
    EXPECT_FALSE(camera->CheckStreamChange());
    camera->PausePlaying();
    EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
    EXPECT_EQ(server.ConnectionCount(), 0);
}

// Stops of a channel whose peer stands still at one point of the exchange.
class StopChannel : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(StopChannel, EndsAtOnce) {
    const std::string sent = GetParam().second;
    StreamServer server([&](Peer& peer) {
        peer.ReadHead();
        peer.Write(sent);
        peer.Hold();
    });
    const auto camera = Camera(server.Port());
    for (const StopWait wait : {StopWait::ToTheEnd, StopWait::Brief}) {
        const int before = server.ConnectionCount();
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::No);
        ASSERT_TRUE(server.WaitForHeads(static_cast<std::size_t>(before + 1)));
        const std::uint64_t start = SystemClock().TickMs();
        const bool stopped = camera->StopVideoThread(wait);
        EXPECT_LT(SystemClock().TickMs() - start, 2500u);
        EXPECT_TRUE(stopped || wait == StopWait::Brief);
        EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
    }
    EXPECT_EQ(Worker::AbandonedCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(Silent, StopChannel,
                         testing::Values(std::pair("AtTheStart", ""),
                                         std::pair("InTheFirstLine", "HTTP/1.0 200"),
                                         std::pair("InAHeader", "HTTP/1.0 200 OK\r\nHalf: a header"),
                                         std::pair("BehindTheHead", "HTTP/1.0 200 OK\r\n\r\n"),
                                         std::pair("InARecord", "HTTP/1.0 200 OK\r\n\r\nZ264 half a head")),
                         [](const auto& named) { return std::string(named.param.first); });

// A wave device in which the thread sticks, as with a sound server that hangs.
struct Stuck {
    Event entered;
    Event release;
};
std::shared_ptr<Stuck> stuck;

class StickingOutput final : public WaveOutput {
public:
    bool Open(const WaveFormats&) override { return true; }
    void Close() override {}
    bool Write(std::span<const std::uint8_t>) override {
        const auto own = stuck;
        own->entered.Set();
        own->release.Wait();
        return true;
    }
};

TEST(ChannelStream, AThreadThatSticksIsAbandonedAndTouchesNothing) {
    stuck = std::make_shared<Stuck>();
    Factories().waveOutput = []() -> std::unique_ptr<WaveOutput> {
        return std::make_unique<StickingOutput>();
    };
    const std::string sound = kvtest::AudioRecord(wire::kG711, 8000, 8, 1, "sound");
    {
        StreamServer server(SendAndHold(HttpReply(200, "OK", sound + Pictures(3))));
        auto camera = Camera(server.Port());
        Factories() = {};
        camera->SetSupportAudio(true);
        camera->SetAudioRight(true);
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::Yes);
        ASSERT_TRUE(stuck->entered.Wait(Milliseconds(10000)));

        EXPECT_FALSE(camera->StopVideoThread(StopWait::Brief)) << "it is left running";
        EXPECT_TRUE(camera->StopVideoThread(StopWait::ToTheEnd)) << "it is abandoned in the end";
        EXPECT_EQ(Worker::AbandonedCount(), 1);

        // The channel goes on with a new thread, silently: it has no device that would stick.
        camera->StartPlaying(PlaySound::No);
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::No);
        EXPECT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown == 3; }));
        camera.reset();
    }
    stuck->release.Set();
    EXPECT_TRUE(WaitUntil([] { return Worker::AbandonedCount() == 0; }));
    stuck.reset();
}

TEST(ChannelStream, TheLastHandleStopsAFloodedChannel) {
    const std::string pictures = Pictures(20);
    StreamServer server([&](Peer& peer) {
        peer.ReadHead();
        peer.Write(HttpReply(200, "OK", ""));
        while (peer.Write(pictures)) {
        }
    });
    auto camera = Camera(server.Port());
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::No);
    ASSERT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown > 5; }));
    camera.reset();
    EXPECT_EQ(Worker::AbandonedCount(), 0);
}

}  // namespace
}  // namespace kvmon
