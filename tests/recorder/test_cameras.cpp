// Cameras on the network: real sessions with another implementation of their protocol.
#include <gmock/gmock.h>

#include "cameras/camera_source.h"
#include "media/media_hub.h"
#include "media_tools.h"
#include "rtsp_peer.h"
#include "support/wait_until.h"
#include "wire/frame_header.h"

namespace kvtest {
namespace {

using namespace kvrecorder;
using std::chrono::milliseconds;

// Fails soon and tries again soon.
CameraTiming Quick() {
    CameraTiming timing;
    timing.connect = milliseconds(2000);
    timing.stall = milliseconds(600);
    timing.pauses.fill(milliseconds(20));
    return timing;
}

SourceConfig Camera(const std::string& url, const std::string& subUrl = "") {
    SourceConfig source;
    source.network.url = url;
    source.network.subUrl = subUrl;
    source.network.linger = std::chrono::seconds(0);
    return source;
}

class Cameras : public testing::Test {
protected:
    explicit Cameras() {
        m_hub->SetListener([this](int channel, MediaEvent event, bool on) {
            const std::lock_guard lock(m_mutex);
            const std::string words = m_hub->Words(channel);
            if (event == MediaEvent::Lost) {
                m_lost.push_back(on ? words : "back");
            } else if (event == MediaEvent::Word) {
                m_words.push_back(words);
            }
        });
    }
    ~Cameras() override { m_hub->SetListener(nullptr); }

    std::vector<std::string> Lost() {
        const std::lock_guard lock(m_mutex);
        return m_lost;
    }
    bool WaitLost(const std::string& words) {
        return WaitUntil([&] {
            const auto lost = Lost();
            return !lost.empty() && lost.back().starts_with(words);
        });
    }

    std::unique_ptr<MediaHub> m_hub = CreateMediaHub(nullptr, 2, CreateCameraSourceMaker(Quick()));
    std::mutex m_mutex;
    std::vector<std::string> m_lost;
    std::vector<std::string> m_words;
};

struct Kind {
    const char* name;
    std::string pipeline;
    std::uint32_t fourcc;
    bool udp;
};

class CameraKinds : public Cameras, public testing::WithParamInterface<Kind> {};

TEST_P(CameraKinds, PassesPicturesOnThatDecode) {
    const RtspPeer peer({"/live", GetParam().pipeline});
    SourceConfig source = Camera(peer.Url("/live"));
    source.network.overUdp = GetParam().udp;
    m_hub->AddChannel("Door", source);
    Collector watcher;
    const auto subscription = m_hub->Subscribe(0, 0, watcher.Sink());
    const auto packets = watcher.WaitFor(40);
    ASSERT_GE(packets.size(), 40u) << testing::PrintToString(Lost());
    EXPECT_TRUE(packets[0]->key);
    std::size_t keys = 0;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i]->fourcc, GetParam().fourcc);
        EXPECT_EQ(packets[i]->width, 320);
        EXPECT_EQ(packets[i]->height, 240);
        EXPECT_GE(packets[i]->timeMs, packets[i > 0 ? i - 1 : 0]->timeMs);
        keys += packets[i]->key ? 1 : 0;
    }
    EXPECT_GE(keys, 3u);
    EXPECT_NEAR(static_cast<double>(packets[39]->timeMs - packets[0]->timeMs), 39 * 40, 400);
    EXPECT_GE(Decode(packets).size(), 36u) << "each is a whole picture";
    const auto streams = m_hub->Streams(0);
    EXPECT_EQ(streams[0].width, 320);
    // From each key picture on, a decoder needs nothing that came before.
    std::size_t last = packets.size() - 1;
    while (!packets[last]->key) {
        --last;
    }
    EXPECT_FALSE(Decode({packets.begin() + static_cast<std::ptrdiff_t>(last), packets.end()}).empty());
}

INSTANTIATE_TEST_SUITE_P(
    All, CameraKinds,
    testing::Values(
        Kind{"H264", kH264, wire::kZ264, false}, Kind{"H264ByUdp", kH264, wire::kZ264, true},
        // Pictures that are coded out of their order, and parameters that are told beforehand alone.
        Kind{"H264Reordered",
             Pictures("x264enc bframes=2 b-adapt=false key-int-max=12 sliced-threads=false rc-lookahead=0 "
                      "speed-preset=ultrafast ! rtph264pay name=pay0 config-interval=0"),
             wire::kZ264, false},
        Kind{"H265", kH265, wire::kZ265, false},
        Kind{"Mpeg4", Pictures("avenc_mpeg4 gop-size=12 ! identity name=stamp ! rtpmp4vpay name=pay0"), wire::kZMP4, false},
        Kind{"Mjpeg", Pictures("jpegenc ! rtpjpegpay name=pay0"), wire::kZIVG, false}),
    [](const auto& kind) { return kind.param.name; });

TEST_F(Cameras, ALostCameraIsToldInWordsAndComesBack) {
    RtspPeer peer({"/live", kH264});
    m_hub->AddChannel("Door", Camera(peer.Url("/live")));
    Collector watcher;
    const auto subscription = m_hub->Subscribe(0, 0, watcher.Sink());
    ASSERT_GE(watcher.WaitFor(5).size(), 5u);
    EXPECT_THAT(Lost(), testing::IsEmpty());

    peer.DropSessions();
    EXPECT_TRUE(WaitLost("back")) << testing::PrintToString(Lost());
    EXPECT_THAT(Lost()[0], testing::StartsWith("the camera closed the connection; the last picture is 0 s old"));

    peer.Stall();
    EXPECT_TRUE(WaitLost("the camera ")) << testing::PrintToString(Lost());
    EXPECT_THAT(Lost(), testing::Contains(testing::StartsWith("the camera sends no pictures any more")));
    peer.GoOn();
    EXPECT_TRUE(WaitLost("back")) << testing::PrintToString(Lost());
}

}  // namespace
}  // namespace kvtest
