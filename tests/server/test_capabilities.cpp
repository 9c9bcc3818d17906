#include <gtest/gtest.h>

#include "platform/text.h"
#include "server/http/capability_reader.h"
#include "server/http/query_context.h"
#include "server/kelvara_info.h"
#include "server/server_messages.h"
#include "support/fake_clock.h"
#include "support/fake_recorder.h"
#include "support/message_log.h"
#include "support/wait_until.h"

using namespace kvmon;
using namespace kvtest;

namespace {

const std::string kCapabilitiesOk = "HTTP/1.0 200 OK\r\nX: y\r\n\r\n";

std::string Stream(int position, int id, const std::string& fcc, int resolution) {
    return FormatText("<stream%d><id>%d</id><fcc>%s</fcc><resolution>%d</resolution></stream%d>", position,
                      id, fcc.c_str(), resolution, position);
}

std::string Streams(const std::string& channels) {
    return kCapabilitiesOk + "<?xml version=\"1.0\"?><info><return>0</return>" + channels + "</info>";
}

const std::string kTwoStreams =
    "<ch0><stream_no>2</stream_no>" + Stream(0, 0, "H264", 4) + Stream(1, 1, "H264", 1) + "</ch0>";

class Capabilities : public testing::Test {
protected:
    Capabilities() {
        query.SetConnectInfo(0, "127.0.0.1", recorder.Port(), "viewer", "pw");
        status.strServerVersion = "3.5.0";
        status.m_nChannelCount = 2;
        status.m_VideoSettingList.resize(2);
    }
    CStreamInfo& StreamsOf(std::size_t channel) { return status.m_VideoSettingList[channel].m_StreamInfo; }
    bool Ask(const std::string& reply) {
        recorder.SetDocument("getmultistreaminfo.cgi", reply);
        return CapabilityReader(query).GetStreamInfo(status);
    }
    bool AskTalk(const std::string& reply) {
        recorder.SetDocument("zcapabilities.cgi", reply);
        return CapabilityReader(query).GetTalking(status);
    }

    FakeClock clock{true};
    QueryContext query{clock};
    CNvrStatus status;
    FakeRecorder recorder;
};

}  // namespace

TEST_F(Capabilities, AsksExactlySo) {
    EXPECT_TRUE(Ask(Streams(kTwoStreams)));
    EXPECT_TRUE(AskTalk(kCapabilitiesOk + "<r><return>0</return><ch1><audio_out>1</audio_out>"
                                          "<audio_out_type>2</audio_out_type></ch1></r>"));
    const std::string tail = FormatText("Host: 127.0.0.1:%u\r\nAuthorization: Basic dmlld2VyOnB3\r\n\r\n",
                                        static_cast<unsigned>(recorder.Port()));
    EXPECT_EQ(
        recorder.Server().Heads(),
        (std::vector<std::string>{
            "GET /cgi-bin/getmultistreaminfo.cgi HTTP/1.0\r\nUser-Agent: Monitor\r\n" + tail,
            "GET /cgi-bin/zcapabilities.cgi?group=Camera  HTTP/1.0\r\nUser-Agent: Monitor\r\n" + tail}));
    EXPECT_EQ(StreamsOf(0), (CStreamInfo{{1, 7, 0}, {0, 7, 3}}));
    EXPECT_FALSE(status.m_VideoSettingList[0].Capabilities().CanTalk());
    EXPECT_TRUE(status.m_VideoSettingList[1].Capabilities().CanTalk());
    EXPECT_EQ(status.m_VideoSettingList[1].m_nAudioOutType, 2);
}

TEST_F(Capabilities, SortsStreamsAndDropsForeignOnes) {
    EXPECT_TRUE(
        Ask(Streams("<ch0><stream_no>3</stream_no>" + Stream(0, 0, "MJPG", 3) + Stream(1, 1, "xZ264", 3) +
                    Stream(2, 5, "H264", 1) + "</ch0><ch1><stream_no>2</stream_no>" +
                    Stream(0, 0, "H264", -7) + Stream(1, 1, "MJPG", 1) + "</ch1>")));
    EXPECT_EQ(StreamsOf(0), (CStreamInfo{{}, {0, 5, 2}, {1, 8, 2}})) << "an id that is not its position";
    EXPECT_EQ(StreamsOf(1), (CStreamInfo{{1, 5, 0}, {0, 7, 0}})) << "MJPG comes to the front";
    EXPECT_TRUE(Ask(Streams("<ch0><stream_no>0</stream_no></ch0>")));
    EXPECT_TRUE(StreamsOf(0).empty());
    EXPECT_EQ(StreamsOf(1).size(), 2u) << "not in the document";
    EXPECT_TRUE(Ask(Streams("<ch0><stream_no>2000000000</stream_no></ch0>")));
    EXPECT_LE(StreamsOf(0).size(), static_cast<std::size_t>(kMaxStreams));
    EXPECT_EQ(StreamFormatFromText("ZMP4 MPG4"), 2);
    EXPECT_STREQ(StreamFormatName(8), "H264");
    EXPECT_STREQ(StreamFormatName(StreamFormatFromText("h264")), "");
}

// 128 channels with eight streams each, which come in pieces: some 77 KB.
TEST_F(Capabilities, ALongDocumentIsReadToItsLastChannel) {
    constexpr std::size_t kChannels = 128;
    status.m_nChannelCount = kChannels;
    status.m_VideoSettingList.resize(kChannels);
    std::string streams;
    std::string talk = kCapabilitiesOk + "<r><return>0</return>";
    for (std::size_t n = 0; n < kChannels; ++n) {
        const std::string name = "ch" + std::to_string(n);
        streams += "<" + name + "><stream_no>8</stream_no>";
        for (int i = 0; i < 8; ++i) {
            streams += Stream(i, i, "H264", i + 1) + "\r\n";
        }
        streams += "</" + name + ">";
        talk += "<" + name + ">" + std::string(200, ' ') +
                "<audio_out>1</audio_out><audio_out_type>1</audio_out_type></" + name + ">";
    }
    const std::string reply = Streams(streams);
    ASSERT_GT(reply.size(), 64u << 10);
    recorder.On("getmultistreaminfo.cgi", [&](Peer& peer) {
        peer.Write(std::string_view(reply).substr(0, 9000));
        std::this_thread::sleep_for(Milliseconds(20));  // the first piece is read alone
        peer.Write(std::string_view(reply).substr(9000));
    });
    EXPECT_TRUE(CapabilityReader(query).GetStreamInfo(status));
    EXPECT_TRUE(AskTalk(talk + "</r>"));
    for (std::size_t n = 0; n < kChannels; ++n) {
        ASSERT_EQ(StreamsOf(n).size(), 8u) << n;
        ASSERT_TRUE(status.m_VideoSettingList[n].Capabilities().CanTalk()) << n;
    }
}

TEST_F(Capabilities, BadDocumentsLeaveEverythingAsItWas) {
    ASSERT_TRUE(Ask(Streams(kTwoStreams)));
    const auto before = StreamsOf(0);
    EXPECT_FALSE(Ask(kCapabilitiesOk + "<info><return>1</return><ch0><stream_no>0</stream_no></ch0></info>"));
    EXPECT_FALSE(Ask(kCapabilitiesOk + "<info><ch0>"));
    EXPECT_TRUE(Ask(kCapabilitiesOk + "<info></info>")) << "no return is good";
    EXPECT_TRUE(Ask("HTTP/1.0 500 Oops\r\n\r\n"));
    EXPECT_TRUE(Ask(""));
    const auto pausesBefore = clock.Waits().size();
    EXPECT_FALSE(Ask(kCapabilitiesOk + "no document"));
    EXPECT_EQ(clock.Waits().size() - pausesBefore, 3u);
    EXPECT_EQ(clock.Waits().back(), Milliseconds(500));
    std::string bomb;
    for (int i = 0; i < 2000; ++i) {
        bomb += "<a>";
    }
    EXPECT_FALSE(Ask(kCapabilitiesOk + bomb));
    EXPECT_FALSE(Ask(kCapabilitiesOk + "<a>" + std::string(1u << 20, 'x') + "</a>")) << "longer than is read";
    EXPECT_EQ(StreamsOf(0), before);

    EXPECT_FALSE(AskTalk(kCapabilitiesOk + "<r><ch0><audio_out>1</audio_out></ch0></r>"))
        << "no return is bad here";
    EXPECT_FALSE(AskTalk(kCapabilitiesOk + "<r><return>2</return><ch0><audio_out>1</audio_out></ch0></r>"));
    EXPECT_FALSE(AskTalk(kCapabilitiesOk));
    EXPECT_EQ(status.m_VideoSettingList[0].m_nAudioOut, 0);
    EXPECT_TRUE(
        AskTalk(kCapabilitiesOk + "<r><return>0</return><ch0><audio_out_type>1</audio_out_type></ch0></r>"));
    EXPECT_EQ(status.m_VideoSettingList[0].m_nAudioOut, 0);
}

TEST_F(Capabilities, VersionsAreComparedAsText) {
    for (const char* const old : {"3.4.9", "3.10.0", ""}) {
        status.strServerVersion = old;
        EXPECT_TRUE(AskTalk(""));
    }
    EXPECT_EQ(recorder.CountHeads("zcapabilities"), 0);
}

TEST_F(Capabilities, A404TurnsNoRootButItsOwn) {
    CapabilityReader reader(query);
    EXPECT_TRUE(reader.GetStreamInfo(status));
    EXPECT_TRUE(reader.IsNotFound());
    EXPECT_TRUE(reader.GetStreamInfo(status));
    EXPECT_EQ(recorder.CountHeads("GET /getmultistreaminfo.cgi HTTP"), 1);
    EXPECT_EQ(query.CgiRoot(), "/cgi-bin");
}

// --- with the threads of a recorder

namespace {

class LiveCapabilities : public testing::Test {
protected:
    LiveCapabilities() {
        recorder.SetDocuments(2);
        recorder.On("notify.cgi", [](Peer& peer) {
            peer.Write("HTTP/1.0 200 OK\r\n");
            peer.Hold();
        });
    }
    ~LiveCapabilities() override { info.StopGetKelvaraInfo(StopWait::ToTheEnd); }
    void Start() {
        info.SetNotifyWnd(WindowHandle(log));
        info.StartGetKelvaraInfo(0, "127.0.0.1", recorder.Port(), "viewer", "pw", StartMode::Anew);
    }
    bool Told(std::uint32_t code) const {
        for (const Message& message : log->All()) {
            if (message.number == WM_UPDATEVSINFO && message.wParam == code) {
                return true;
            }
        }
        return false;
    }

    FakeClock clock{true};
    FakeRecorder recorder;
    std::shared_ptr<MessageLog> log = std::make_shared<MessageLog>();
    CKelvaraInfo info{clock};
};

}  // namespace

TEST_F(LiveCapabilities, AreToldOnceTheListIsPublishedAndStay) {
    recorder.SetDocument("getmultistreaminfo.cgi", Streams(kTwoStreams));
    recorder.SetDocument("zcapabilities.cgi", kCapabilitiesOk +
                                                  "<r><return>0</return><ch1><audio_out>1</audio_out>"
                                                  "<audio_out_type>1</audio_out_type></ch1></r>");
    Start();
    ASSERT_TRUE(WaitUntil([&] { return Told(WM_UPDATEVSINFO_CAPABILITIES); }));
    EXPECT_EQ(info.GetCapabilities(0).streams.size(), 2u);
    EXPECT_TRUE(info.GetCapabilities(1).CanTalk());
    EXPECT_EQ(info.GetCapabilities(2), ChannelCapabilities());
    // The notification connection's own refresh merges the same.
    ASSERT_TRUE(WaitUntil(
        [&] { return recorder.CountHeads("get_init_info") >= 2 && recorder.CountHeads("get_ext") >= 2; }));
    EXPECT_EQ(info.GetCapabilities(0).streams.size(), 2u);
    EXPECT_EQ(recorder.CountHeads("getmultistreaminfo"), 1);
}

// Else a channel whose recorder once told of streams that it has not goes on asking for them, and stays
// black.
TEST_F(LiveCapabilities, AreReadAnewWithEachRoundAndWhenTheRecorderTellsOfAChange) {
    // The recorder outlives the test.
    struct Orders {
        std::atomic<bool> ends{false};
        std::atomic<bool> changes{false};
    };
    const auto orders = std::make_shared<Orders>();
    recorder.On("notify.cgi", [orders](Peer& peer) {
        peer.Write("HTTP/1.0 200 OK\r\n");
        while (!orders->ends && !peer.WaitClosed(milliseconds(10))) {
            if (orders->changes.exchange(false)) {
                peer.Write("2\n");
            }
        }
        orders->ends = false;
    });
    const auto tells = [&](std::size_t streams) {
        return WaitUntil([&] { return info.GetCapabilities(0).streams.size() == streams; });
    };
    recorder.SetDocument("getmultistreaminfo.cgi", Streams(kTwoStreams));
    Start();
    ASSERT_TRUE(tells(2));
    recorder.SetDocument("getmultistreaminfo.cgi",
                         Streams("<ch0><stream_no>1</stream_no>" + Stream(0, 0, "H264", 4) + "</ch0>"));
    orders->changes = true;
    EXPECT_TRUE(tells(1));
    recorder.SetDocument("getmultistreaminfo.cgi", Streams(kTwoStreams));
    orders->ends = true;
    EXPECT_TRUE(tells(2)) << "the list is the same, the connection is not";
}

TEST_F(LiveCapabilities, ARecorderWithoutThemLogsInAsBefore) {
    Start();
    ASSERT_TRUE(WaitUntil(
        [&] { return recorder.CountHeads("notify.cgi") == 1 && recorder.CountHeads("zcapab") == 1; }));
    ASSERT_TRUE(WaitUntil([&] { return recorder.CountHeads("get_ext") >= 2; }));
    EXPECT_EQ(recorder.CountHeads("GET /get_init_info.cgi"), 0) << "the root of the round was turned";
    EXPECT_FALSE(Told(WM_UPDATEVSINFO_CAPABILITIES));
    for (const Message& message : log->All()) {
        EXPECT_EQ(message.number, WM_UPDATEVSINFO);
    }
}

TEST_F(LiveCapabilities, SilenceDelaysNobodyAndAStopEndsIt) {
    recorder.On("getmultistreaminfo.cgi", [](Peer& peer) { peer.Hold(); });
    Start();
    ASSERT_TRUE(WaitUntil([&] { return recorder.CountHeads("notify.cgi") == 1; }));
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(info.StopGetKelvaraInfo(StopWait::ToTheEnd));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
    EXPECT_EQ(Worker::AbandonedCount(), 0);
}
