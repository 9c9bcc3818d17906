// A stream of which no picture can be made, as the cell tells it.
#include <gmock/gmock.h>

#include "persist/string_table.h"
#include "stream_maker.h"
#include "support/camera_maker.h"
#include "support/fake_clock.h"
#include "support/scripted_server.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using kvtest::FakeClock;
using kvtest::Peer;
using kvtest::ScriptedServer;
using kvtest::StreamMaker;
using kvtest::VideoRecord;
using kvtest::WaitUntil;

struct Undecodable {
    const char* name;
    std::string bad;
    std::string good;
};

std::vector<Undecodable> AllKinds() {
    StreamMaker h264("libx264", 64, 48);
    StreamMaker jpeg("mjpeg", 64, 48);
    const std::string key = h264.Next().bytes;
    const std::string other = h264.Next().bytes;
    const std::string good = VideoRecord(wire::kZ264, true, 64, 48, key);
    const std::string noise(300, '\x7F');
    return {
        {"noise", VideoRecord(wire::kZ264, true, 64, 48, noise), good},
        {"no key frame", VideoRecord(wire::kZ264, false, 64, 48, other), good},
        {"another codec", VideoRecord(wire::kZMP4, true, 64, 48, key), good},
        {"a size beyond all bounds", VideoRecord(wire::kZ264, true, 20000, 48, key), good},
        {"no JPEG", VideoRecord(wire::kZIVG, false, 0, 0, noise),
         VideoRecord(wire::kZIVG, false, 0, 0, jpeg.Next().bytes)},
    };
}

TEST(UndecodableStream, IsToldAfterFiveSecondsUntilAPictureComes) {
    for (const Undecodable& kind : AllKinds()) {
        SCOPED_TRACE(kind.name);
        FakeClock clock;
        clock.SetSocketRound(std::chrono::seconds(2));
        std::atomic<int> bad{1};
        std::atomic<bool> bGood{false};
        ScriptedServer recorder(
            [&](Peer& peer) {
                peer.ReadHead();
                peer.Write(kvtest::HttpReply(200, "OK", ""));
                for (int sent = 0;; std::this_thread::sleep_for(kvtest::milliseconds(5))) {
                    if (bGood) {
                        if (!peer.Write(kind.good)) {
                            return;
                        }
                        continue;
                    }
                    if (sent < bad) {
                        if (!peer.Write(kind.bad)) {
                            return;
                        }
                        ++sent;
                    }
                }
            },
            "getstream.cgi");
        const auto camera = kvtest::MakeCamera(kvtest::SettingsOf(0, recorder.Port()), clock);
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::No);
        const auto received = [&](std::uint64_t count) {
            return WaitUntil([&] { return camera->GetStatistics().received == count; });
        };
        const std::string told = LoadString(6890);
        ASSERT_FALSE(told.empty());
        ASSERT_TRUE(received(1));
        for (int i = 2; i <= 5; ++i) {
            clock.Advance(Milliseconds(1200));
            bad = i;
            ASSERT_TRUE(received(static_cast<std::uint64_t>(i)));
            EXPECT_NE(camera->Picture().GetMainCaption(), told) << i;
        }
        clock.Advance(Milliseconds(300));
        bad = 6;
        ASSERT_TRUE(received(6));
        EXPECT_TRUE(WaitUntil([&] { return camera->Picture().GetMainCaption() == told; }));
        EXPECT_EQ(camera->GetStatistics().shown, 0u);

        bGood = true;
        EXPECT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown >= 1; }));
        EXPECT_EQ(camera->Picture().GetMainCaption(), "");
        EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
    }
}

}  // namespace
}  // namespace kvmon
