// The session by which a camera is talked to: cameras that do it their own way, or fail.
#include <future>

#include "talk_fixture.h"

namespace kvtest {

using testing::Contains;
using testing::HasSubstr;

// One that says no unless they are, and then sends more of them than anybody should have to read.
TEST_F(CameraTalkTest, PicturesArePlayedForACameraThatWantsThem) {
    std::atomic<std::size_t> heard{0};
    const auto flood = [&](Peer& camera) {
        const std::string packet = std::string("$\2\x40\0", 4) + std::string(0x4000, 'p');
        while (camera.Write(packet)) {
            const std::string said = camera.Read(4);
            if (said.size() < 4 || said[0] != '$') {
                return;
            }
            heard +=
                camera.Read(static_cast<unsigned char>(said[2]) * 256U + static_cast<unsigned char>(said[3]))
                    .size() -
                12;
            for (int i = 0; i < 8; ++i) {
                camera.Write(packet);
            }
        }
    };
    const ScriptedServer strict([&](Peer& camera) {
        bool shows = false;
        ServeRtsp(camera, kPictures + "a=control:pics\r\n" + kEar, flood,
                  [&](Peer& peer, const std::string& request) {
                      shows = shows ||
                              (request.starts_with("SETUP") && request.find("/pics ") != std::string::npos);
                      const bool refuses = request.starts_with("PLAY") && !shows;
                      if (refuses) {
                          peer.Write(RtspAnswer(request, 455));
                      }
                      return refuses;
                  });
    });
    config.channels[0].talk.reset();
    Serve(UrlOf(strict));
    ASSERT_TRUE(WaitUntil([&] { return TakesTalk(); }));
    RecorderClient talker(port);
    talker.Send(Get(kTalk));
    talker.ReadHead();
    // A camera that takes its time to begin has missed what was said before.
    const std::string said = Coded(Tone(440, 8000));
    for (std::size_t at = 0; at < 20 * said.size() && heard < 4000; at += 1000) {
        talker.Send(said.substr(at % said.size(), 1000));
        std::this_thread::sleep_for(milliseconds(250));
    }
    EXPECT_TRUE(WaitUntil([&] { return heard >= 4000; }));
    EXPECT_THAT(Log(), testing::Not(Contains(HasSubstr("nobody can talk"))));
    service.reset();
}

TEST_F(CameraTalkTest, ACameraThatFailsIsToldOfInALineAndLetsTheTalkerGo) {
    const auto answers = [](int status, const char* headers) {
        return [=](Peer& peer, const std::string& request) {
            peer.Write(RtspAnswer(request, status, headers));
            peer.Hold();
        };
    };
    const auto holds = [](Peer& peer, const std::string&) { peer.Hold(); };
    const auto cuts = [](Peer& peer, const std::string&) {
        peer.Reset();
        peer.Close();
    };
    const struct {
        ScriptedServer::Script camera;
        const char* words;
    } cases[] = {
        {TalkCamera(kPictures), "the camera plays nothing that is said to it"},
        {TalkCamera("", "DESCRIBE", answers(551, "")), "the camera plays nothing that is said to it"},
        {TalkCamera("", "DESCRIBE", answers(404, "")), "the camera knows no such path"},
        {TalkCamera(kEar, "SETUP", answers(454, "")), "the status 454"},
        {TalkCamera(kEar, "SETUP", answers(200, "Session: 4\r\nTransport: RTP/AVP;unicast\r\n")),
         "the camera does not answer"},
        {TalkCamera(kEar, "SETUP", answers(200, "")), "the camera's answer cannot be understood"},
        {TalkCamera(kEar, "SETUP", holds), "the camera does not answer"},
        {TalkCamera(kEar, "PLAY", cuts), "the camera closed the connection"},
        {[](Peer& peer) {
             peer.ReadHead();
             peer.Write(std::string(40000, 'x'));
             peer.Hold();
         },
         "the camera's answer cannot be understood"},
        {[](Peer& peer) {
             while (true) {
                 const std::string request = peer.ReadHead();
                 if (request.empty()) {
                     return;
                 }
                 peer.Write(RtspAnswer(request, 401, "WWW-Authenticate: Basic realm=\"yard\"\r\n"));
             }
         },
         "the camera refuses the user or the password"},
    };
    for (const auto& given : cases) {
        SCOPED_TRACE(given.words);
        const ScriptedServer camera(given.camera);
        config.channels[0].talk = true;
        TalkTiming timing = Quick();
        timing.open = milliseconds(300);
        timing.camera.pauses.fill(std::chrono::seconds(30));
        Serve(UrlOf(camera), timing);
        RecorderClient talker = Open(kTalk);
        const std::string said = Coded(Tone(440, 800));
        EXPECT_TRUE(WaitUntil([&] { return !talker.Send(said) || talker.WaitClosed(milliseconds(20)); }))
            << "the talker learns it";
        EXPECT_THAT(Log(), Contains(testing::AllOf(HasSubstr("nobody can talk to the camera, "),
                                                   HasSubstr(given.words))));
        EXPECT_TRUE(TakesTalk()) << "the recorder goes on";
        service.reset();
        model.reset();
    }
}

TEST_F(CameraTalkTest, OldSoundIsDroppedAndTheRestIsSentInRealTime) {
    std::string packets;
    std::promise<milliseconds> took;
    const ScriptedServer camera([&](Peer& peer) {
        if (peer.Number() == 0) {
            return TalkCamera(kPictures + kEar)(peer);  // what it offers
        }
        for (const char* turn : {"DESCRIBE", "SETUP", "PLAY"}) {
            const std::string request = peer.ReadHead();
            EXPECT_TRUE(request.starts_with(turn)) << request;
            EXPECT_THAT(request, HasSubstr("Require: www.onvif.org/ver20/backchannel\r\n"));
            std::this_thread::sleep_for(milliseconds(200));
            peer.Write(
                turn[0] == 'D'
                    ? RtspAnswer(request, 200, "", kPictures + kEar)
                    : RtspAnswer(request, 200, "Session: 77\r\nTransport: RTP/AVP/TCP;interleaved=4-5\r\n"));
        }
        packets = peer.Read(176);
        const auto begun = std::chrono::steady_clock::now();
        packets += peer.Read(24 * 176);
        const auto ended = std::chrono::steady_clock::now();
        EXPECT_THAT(peer.ReadHead(), testing::StartsWith("TEARDOWN ")) << "soon after the last word";
        took.set_value(std::chrono::duration_cast<milliseconds>(ended - begun));
    });
    config.channels[0].talk.reset();
    Serve(UrlOf(camera));
    ASSERT_TRUE(WaitUntil([&] { return model->Current()->channels[0].offer.has_value(); }));
    Samples said(16000);
    const Samples last = Tone(500, 4000);
    std::copy(last.begin(), last.end(), said.end() - 4000);
    RecorderClient talker = Open(kTalk);
    talker.Send(Coded(said));
    const milliseconds time = took.get_future().get();
    EXPECT_GE(time, milliseconds(400)) << "25 packets of 20 ms";
    EXPECT_LT(time, milliseconds(1500));
    ASSERT_EQ(packets.size(), 25 * 176U);
    const auto at = [&](std::size_t packet, std::size_t byte, int count) {
        std::uint32_t value = 0;
        for (int i = 0; i < count; ++i) {
            value = value << 8 |
                    static_cast<unsigned char>(packets[packet * 176 + byte + static_cast<std::size_t>(i)]);
        }
        return value;
    };
    int loud = 0;
    for (std::size_t i = 0; i < 25; ++i) {
        EXPECT_EQ(at(i, 0, 4), 0x240400ACU) << "on the channel that the camera chose";
        EXPECT_EQ(at(i, 4, 2), i == 0 ? 0x8080U : 0x8000U) << "the first one begins";
        EXPECT_EQ(at(i, 6, 2), i);
        EXPECT_EQ(at(i, 8, 4), at(0, 8, 4) + 160 * i);
        EXPECT_EQ(at(i, 12, 4), at(0, 12, 4));
        for (std::size_t k = 16; k < 176; ++k) {
            loud += (at(i, k, 1) & 0x7F) < 0x60 ? 1 : 0;
        }
    }
    EXPECT_GT(loud, 3000) << "it is the last half second";
}

TEST_F(CameraTalkTest, ALongTalkGoesOnWithANewNonce) {
    std::promise<std::string> renewed;
    const ScriptedServer camera([&](Peer& taken) {
        int alive = 0;
        ServeRtsp(taken, kPictures + kEar, {}, [&](Peer& peer, const std::string& request) {
            const bool keeps = request.find("OPTIONS ") != std::string::npos;
            const std::string nonce = std::string("nonce=\"") + (keeps ? "second" : "first") + "\"";
            const bool refuses =
                request.find(nonce) == std::string::npos && request.find("TEARDOWN ") == std::string::npos;
            if (refuses) {
                peer.Write(
                    RtspAnswer(request, 401, "WWW-Authenticate: Digest realm=\"x\", " + nonce + "\r\n"));
            } else if (request.starts_with("SETUP")) {
                peer.Write(RtspAnswer(request, 200,
                                      "Session: 77;timeout=4\r\nTransport: RTP/AVP/TCP;interleaved=0-1\r\n"));
            }
            if (keeps && ++alive == 2) {
                renewed.set_value(request);
            }
            return refuses || request.starts_with("SETUP");
        });
    });
    config.channels[0].talk = true;
    TalkTiming timing = Quick();
    timing.rest = std::chrono::seconds(30);
    Serve(UrlOf(camera), timing);
    RecorderClient talker = Open(kTalk);
    talker.Send(Coded(Tone(440, 800)));
    auto answer = renewed.get_future();
    ASSERT_EQ(answer.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_THAT(answer.get(), HasSubstr("nonce=\"second\""));
    EXPECT_THAT(Log(), testing::Not(Contains(HasSubstr("nobody can talk"))));
}

}  // namespace kvtest
