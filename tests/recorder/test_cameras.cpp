// Cameras on the network: real sessions with another implementation of their protocol.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "camera_fixture.h"
#include "rtsp_peer.h"
#include "wire/frame_header.h"

namespace kvtest {
namespace {

enum class Way { Tcp, Udp, TcpRefused };

struct Kind {
    const char* name;
    std::string pipeline;
    std::uint32_t fourcc;
    Way way;
};

class CameraKinds : public Cameras, public testing::WithParamInterface<Kind> {};

TEST_P(CameraKinds, PassesPicturesOnThatDecode) {
    std::vector<std::string> arguments{"/live", GetParam().pipeline};
    if (GetParam().way == Way::TcpRefused) {
        arguments.insert(arguments.begin(), "--udp-alone");
    }
    const RtspPeer peer(arguments);
    SourceConfig source = Camera(peer.Url("/live"));
    source.network.overUdp = GetParam().way == Way::Udp;
    m_hub->AddChannel("Door", source);
    Collector watcher;
    const auto began = std::chrono::steady_clock::now();
    const auto subscription = m_hub->Subscribe(0, 0, watcher.Sink());
    const auto packets = watcher.WaitFor(40);
    ASSERT_GE(packets.size(), 40u) << testing::PrintToString(Lost());
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - began;
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
    // A camera without a processor leaves pictures out.
    const auto span = static_cast<double>(packets[39]->timeMs - packets[0]->timeMs);
    EXPECT_GE(span, 39 * 40 - 400);
    EXPECT_LE(span, std::max(took.count(), 39 * 40.0) + 400);
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
        Kind{"H264", kH264, wire::kZ264, Way::Tcp}, Kind{"H264ByUdp", kH264, wire::kZ264, Way::Udp},
        Kind{"H264WhereTcpIsRefused", kH264, wire::kZ264, Way::TcpRefused},
        // Pictures that are coded out of their order, and parameters that are told beforehand alone.
        Kind{"H264Reordered",
             Pictures("x264enc bframes=2 b-adapt=false key-int-max=12 sliced-threads=false rc-lookahead=0 "
                      "speed-preset=ultrafast ! rtph264pay name=pay0 config-interval=0"),
             wire::kZ264, Way::Tcp},
        Kind{"H265", kH265, wire::kZ265, Way::Tcp}, Kind{"Mjpeg", kJpeg, wire::kZIVG, Way::Tcp},
        Kind{"MjpegByUdp", kJpeg, wire::kZIVG, Way::Udp}),
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
    EXPECT_THAT(Lost()[0],
                testing::StartsWith("the camera closed the connection; the last picture is 0 s old"));

    peer.Stall();
    EXPECT_TRUE(WaitLost("the camera ")) << testing::PrintToString(Lost());
    EXPECT_THAT(Lost(), testing::Contains(testing::StartsWith("the camera sends no pictures any more")));
    peer.GoOn();
    EXPECT_TRUE(WaitLost("back")) << testing::PrintToString(Lost());
}

TEST_F(Cameras, WhatIsWrongIsToldInWords) {
    const RtspPeer digest({"--digest", "guard", "sesame", "/live", kH264});
    const RtspPeer basic({"--basic", "guard", "ses@me/", "/live", kH264});
    const RtspPeer open({"/vp8", Pictures("vp8enc deadline=1 ! rtpvp8pay name=pay0")});
    const struct {
        std::string url;
        const char* user;
        const char* password;
        const char* words;  // empty: pictures come
        Fault fault;
    } cases[] = {
        {digest.Url("/live"), "guard", "sesame", "", {}},
        {basic.Url("/live"), "guard", "ses@me/", "", {}},
        {digest.Url("/live"), "guard", "wrong", "the camera refuses the user or the password",
         FaultCode::LoginRefused},
        {basic.Url("/live"), "", "", "the camera wants a user and a password", FaultCode::LoginWanted},
        {open.Url("/other"), "", "", "the camera knows no such path", FaultCode::PathUnknown},
        {open.Url("/vp8"),
         "",
         "",
         "the camera's codec (vp8) is none that can be passed on",
         {FaultCode::CodecUnknown, {{"codec", "vp8"}}}},
        {"rtsp://127.0.0.1:1/", "", "", "nothing listens at the camera's address", FaultCode::NothingListens},
        {"rtsp://no-such-host.invalid/", "", "", "the name of the camera's host is not known",
         FaultCode::HostUnknown}};
    for (const auto& test : cases) {
        SourceConfig source = Camera(test.url);
        source.network.user = test.user;
        source.network.password = test.password;
        const int channel = m_hub->AddChannel("Door", source);
        Collector watcher;
        const auto subscription = m_hub->Subscribe(channel, 0, watcher.Sink());
        if (*test.words == '\0') {
            EXPECT_GE(watcher.WaitFor(1).size(), 1u) << test.url;
        } else {
            EXPECT_TRUE(WaitLost(test.words)) << test.url << testing::PrintToString(Lost());
            EXPECT_EQ(m_hub->Trouble(channel), test.fault) << test.url;
        }
    }
}

TEST_F(Cameras, SoundComesInAFormThatClientsKnow) {
    const std::string tone = " audiotestsrc is-live=true ! audio/x-raw,channels=1,rate=";
    const struct {
        std::string coder;
        std::uint32_t fourcc;
        std::uint32_t rate;
    } cases[] = {{"8000 ! mulawenc ! rtppcmupay name=pay1", wire::kG711, 8000},
                 {"8000 ! alawenc ! rtppcmapay name=pay1", wire::kA711, 8000},
                 {"16000 ! avenc_aac ! rtpmp4gpay name=pay1", wire::kPCM, 16000},
                 {"8000 ! avenc_g726 bitrate=32000 ! rtpg726pay name=pay1", wire::kPCM, 8000},
                 {"16000 ! audioconvert ! rtpL16pay name=pay1", wire::kPCM, 16000}};
    for (const auto& test : cases) {
        const RtspPeer peer({"/live", kH264 + tone + test.coder});
        const int channel = m_hub->AddChannel("Door", Camera(peer.Url("/live")));
        Collector listener;
        const auto subscription = m_hub->SubscribeSound(channel, listener.Sink());
        const auto sounds = listener.WaitFor(10);
        ASSERT_GE(sounds.size(), 10u) << test.coder;
        int loudest = 0;
        for (const PacketPtr& sound : sounds) {
            EXPECT_EQ(sound->fourcc, test.fourcc) << test.coder;
            EXPECT_EQ(sound->soundRate, test.rate);
            for (std::size_t i = 0; sound->soundBits == 16 && i + 1 < sound->data.size(); i += 2) {
                loudest = std::max(
                    loudest, std::abs(static_cast<std::int16_t>(sound->data[i] | sound->data[i + 1] << 8)));
            }
        }
        if (test.fourcc == wire::kPCM) {
            EXPECT_GT(loudest, 8000) << "the tone that was sent";
        }
    }
}

TEST_F(Cameras, TheSecondStreamIsTheCamerasOwnOrMadeOfTheFirst) {
    const RtspPeer peer({"/main", kH265});
    // With a login of its own.
    const RtspPeer other(
        {"--digest", "other", "open", "/sub", Pictures("jpegenc ! rtpjpegpay name=pay0", 160, 120)});
    SourceConfig both = Camera(peer.Url("/main"), other.Url("/sub"));
    both.network.user = "guard";
    both.network.password = "sesame";
    both.network.subUser = "other";
    both.network.subPassword = "open";
    m_hub->AddChannel("Both", both);
    m_hub->AddChannel("One", Camera(peer.Url("/main")));
    Collector sub;
    Collector made;
    const auto first = m_hub->Subscribe(0, 1, sub.Sink());
    const auto second = m_hub->Subscribe(1, 1, made.Sink());
    EXPECT_EQ(sub.WaitFor(3)[0]->width, 160);
    EXPECT_EQ(m_hub->Counters(0, 1).encoded, 0u);
    const auto small = made.WaitFor(8);
    ASSERT_GE(small.size(), 8u);
    EXPECT_EQ(small[0]->fourcc, wire::kZ264);
    EXPECT_EQ(small[0]->width, 640);
    EXPECT_EQ(small[0]->height, 480) << "of the camera's shape";
    EXPECT_GE(Decode(small).size(), 7u);
    EXPECT_EQ(m_hub->Counters(1, 0).packets, 0u);
}

TEST_F(Cameras, AWatcherThatComesBackSoonFindsTheSessionOpen) {
    RtspPeer peer({"/live", kH264});
    SourceConfig source = Camera(peer.Url("/live"));
    source.network.linger = std::chrono::seconds(60);
    m_hub->AddChannel("Door", source);
    Collector watcher;
    Collector again;  // outlives its subscription
    auto subscription = m_hub->Subscribe(0, 0, watcher.Sink());
    ASSERT_GE(watcher.WaitFor(5).size(), 5u);
    subscription.reset();
    // No new session could be had.
    peer.Stall();
    subscription = m_hub->Subscribe(0, 0, again.Sink());
    const auto packets = again.WaitFor(1);
    ASSERT_GE(packets.size(), 1u);
    EXPECT_TRUE(packets[0]->key);
    peer.GoOn();
}

}  // namespace
}  // namespace kvtest
