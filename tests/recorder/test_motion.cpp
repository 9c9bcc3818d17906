// Motion in the pictures of files and cameras.
#include <cstring>
#include <fstream>

#include "camera_fixture.h"
#include "http_camera.h"
#include "media/picture_encoder.h"
#include "media/stream_motion.h"
#include "recorder_client.h"
#include "recorder_program.h"
#include "rtsp_peer.h"
#include "support/scripted_server.h"
#include "support/temp_folder.h"

namespace kvtest {
namespace {

constexpr int kFps = 10;

// Ten seconds: grey, with a square that crosses the left half from the fourth to the sixth.
std::vector<PacketPtr> SquarePasses(kvrecorder::Codec codec, int gop) {
    PictureEncoder encoder({codec, 320, 240, kFps, gop});
    std::vector<PacketPtr> packets;
    for (int i = 0; i < 10 * kFps; ++i) {
        AVFrame& picture = *encoder.Picture();
        for (int plane = 0; plane < 3; ++plane) {
            std::memset(picture.data[plane], 128,
                        static_cast<std::size_t>(picture.linesize[plane]) * (plane == 0 ? 240 : 120));
        }
        const int left = i >= 4 * kFps && i < 6 * kFps ? (i - 4 * kFps) * 4 : 0;
        for (int y = 60; y < 120; ++y) {
            std::memset(picture.data[0] + y * picture.linesize[0] + left, 230, 60);
        }
        packets.push_back(encoder.Encode(i, i * 1000 / kFps));
    }
    return packets;
}

struct Told {
    int channel;
    bool on;
    bool operator==(const Told&) const = default;
};

class Motion : public testing::Test {
protected:
    void Listen(MediaHub& hub) {
        hub.SetListener([this](int channel, MediaEvent event, bool on) {
            const std::lock_guard lock(m_mutex);
            if (event == MediaEvent::Motion) {
                m_told.push_back({channel, on});
            }
        });
    }
    bool Has(Told wanted) {
        const std::lock_guard lock(m_mutex);
        return std::find(m_told.begin(), m_told.end(), wanted) != m_told.end();
    }

    std::mutex m_mutex;
    std::vector<Told> m_told;
};

// Whether key pictures come often or once, and only where it is looked for.
TEST_F(Motion, IsSeenInTheZonesOfAFile) {
    TempFolder folder;
    const auto clock = std::make_shared<SelfMovingClock>();
    const auto hub = CreateMediaHub(clock, 2);
    Listen(*hub);
    const MotionZone left{0, 0, 50, 100};
    const MotionZone right{70, 0, 30, 100};
    const struct {
        kvrecorder::Codec codec;
        int gop;
        MotionSetup setup;
        bool seen;
    } cases[] = {{kvrecorder::Codec::H264, kFps, {}, true},
                 {kvrecorder::Codec::H264, 10 * kFps, {}, true},
                 {kvrecorder::Codec::Mjpeg, 1, {}, true},
                 {kvrecorder::Codec::Mpeg4, 20, {50, {left}}, true},
                 {kvrecorder::Codec::H264, kFps, {50, {right}}, false},
                 {kvrecorder::Codec::H264, kFps, {1, {}}, false}};
    for (const auto& test : cases) {
        SourceConfig source;
        source.file = folder.File(std::to_string(&test - cases) + ".mkv");
        WriteVideoFile(source.file, SquarePasses(test.codec, test.gop), kFps, Headers::InHead);
        source.watchMotion = true;
        source.motion = test.setup;
        hub->AddChannel("Yard", source);
    }
    for (int second = 0; second < 40; ++second) {
        clock->Allow(std::chrono::seconds(1));
        WaitUntil([&] { return clock->Now() >= std::chrono::seconds(second + 1); });
    }
    for (const auto& test : cases) {
        const int channel = static_cast<int>(&test - cases);
        EXPECT_EQ(Has({channel, true}), test.seen) << channel;
        EXPECT_EQ(Has({channel, false}), test.seen) << channel;
        EXPECT_EQ(hub->Counters(channel, 0).encoded, 0u);
    }
    hub->SetListener(nullptr);
}

// All pictures of a stream whose key pictures are rare are decoded until it shows that this costs too much.
TEST(StreamMotion, CostsNoMoreThanItsShareAndTellsIt) {
    const auto packets = SquarePasses(kvrecorder::Codec::H264, 5 * kFps);
    StreamMotion motion({}, milliseconds(20));
    const std::string wanted = "motion is looked for in key pictures alone, every 5 s, as all of them take ";
    std::string word;
    int rounds = 0;
    std::int64_t begin = 0;
    // As fast as it goes: far more than the share allows.
    for (MediaTime now{}; !word.starts_with(wanted) && rounds < 200; ++rounds) {
        for (const PacketPtr& packet : packets) {
            auto moved = std::make_shared<Packet>(*packet);
            moved->timeMs += begin;
            motion.Offer(moved);
            motion.Look(now += milliseconds(1000 / kFps));
        }
        begin += 10'000;
        word = motion.Word();
    }
    EXPECT_THAT(word, testing::StartsWith(wanted));
    EXPECT_GT(motion.Share().value_or(0), 3);
}

// Nobody watches: of the camera nothing but the sub stream is opened. What moved moves no more when another
// source comes in its place.
TEST_F(Motion, IsSeenInACamerasSubStream) {
    const RtspPeer peer(
        {"/sub",
         "videotestsrc is-live=true pattern=ball ! video/x-raw,width=320,height=240,framerate=25/1 ! "
         "x264enc tune=zerolatency key-int-max=12 speed-preset=ultrafast ! rtph264pay name=pay0"});
    const auto hub = CreateMediaHub(nullptr, 2, CreateCameraSourceMaker(Quick()));
    Listen(*hub);
    SourceConfig source = Camera("rtsp://127.0.0.1:1/main", peer.Url("/sub"));
    source.watchMotion = true;
    source.motion.sensitivity = 80;
    hub->AddChannel("Door", source);
    EXPECT_TRUE(WaitUntil([&] { return Has({0, true}); }));
    EXPECT_GT(hub->Counters(0, 1).packets, 10u);
    EXPECT_EQ(hub->Counters(0, 0).packets, 0u);
    hub->ReplaceSource(0, "Door", SourceConfig());
    EXPECT_TRUE(WaitUntil([&] { return Has({0, false}); }));
    hub->SetListener(nullptr);
}

// The program, and one camera in two channels: what moves is in the upper left quarter.
TEST(MotionProgram, TellsWhatMovesInTheZonesOfACameraAlone) {
    const RtspPeer peer(
        {"/yard",
         "videotestsrc is-live=true pattern=ball ! video/x-raw,format=I420,width=140,height=100,"
         "framerate=25/1 ! videobox right=-180 bottom=-140 ! x264enc tune=zerolatency "
         "key-int-max=12 speed-preset=ultrafast ! rtph264pay name=pay0"});
    const auto channel = [&](const char* name, const char* zone) {
        return std::string("[[channels]]\nname = \"") + name + "\"\nsource = { url = \"" + peer.Url("/yard") +
               "\" }\nmotion = { sensitivity = 80, zones = [" + zone + "] }\n";
    };
    const TempFolder folder;
    std::ofstream(folder.File("c.toml"))
        << "listen = \"127.0.0.1:0\"\n[[users]]\nname = \"admin\"\npassword = \"secret\"\n" +
               channel("Inside", "{ left = 0, top = 0, width = 50, height = 50 }") +
               channel("Outside", "{ left = 50, top = 0 }, { left = 0, top = 50 }");
    Program recorder({"--config", folder.File("c.toml")});
    const std::uint16_t port = recorder.Port();
    // The last section of the line, by channels.
    const auto states = [&] {
        const auto lines = Lines(Fetch(port, Get("/cgi-bin/z_status.cgi")).body);
        return lines.size() > 1 && lines[1].size() >= 11 ? lines[1].substr(9, 2) : "";
    };
    EXPECT_TRUE(WaitUntil([&] { return states() == "10"; })) << states();
    // As long again and more: what moves goes on.
    for (int i = 0; i < 20; ++i) {
        std::this_thread::sleep_for(milliseconds(50));
        EXPECT_EQ(states()[1], '0');
    }
    const std::string log = Fetch(port, Get("/cgi-bin/get_log_info.cgi?sec=3600")).body;
    EXPECT_THAT(log, testing::HasSubstr("Inside: motion"));
    EXPECT_THAT(log, testing::Not(testing::HasSubstr("Outside: motion")));
}

}  // namespace
}  // namespace kvtest
