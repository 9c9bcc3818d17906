// What is said in the client comes out of a camera, and what a camera offers is what clients are told.
#include <gmock/gmock.h>

#include <cmath>
#include <fstream>
#include <future>
#include <numbers>

#include "channel/sound/talk_back.h"
#include "media/sound_coder.h"
#include "onvif/onvif_control.h"
#include "rtsp_peer.h"
#include "service_fixture.h"
#include "support/camera_maker.h"
#include "support/message_log.h"
#include "support/onvif_device/onvif_device.h"
#include "support/scripted_server.h"
#include "support/temp_folder.h"
#include "support/tls_peer/made_certificate.h"

namespace kvtest {
namespace {

using std::chrono::milliseconds;
using testing::Contains;
using testing::HasSubstr;
using Samples = std::vector<std::int16_t>;

constexpr int kRate = 8000;
constexpr const char* kTalk = "/cgi-bin/putaudiostream.cgi?ch=0 ";
constexpr const char* kCapabilities = "/cgi-bin/zcapabilities.cgi?group=Camera";
constexpr const char* kProperty = "/cgi-bin/param.cgi?action=list&group=Recording.MediaProperty&channel_id=0";
// Of a camera that is only talked to nobody takes the pictures and the sound, which this peer wants somebody
// to.
const std::string kSeen = Pictures(
    "x264enc tune=zerolatency key-int-max=12 speed-preset=ultrafast ! tee name=seen ! "
    "rtph264pay name=pay0 seen. ! fakesink async=false");
const std::string kSounding =
    kSeen +
    " audiotestsrc is-live=true ! audio/x-raw,channels=1,rate=8000 ! mulawenc ! tee "
    "name=heard ! rtppcmupay name=pay1 heard. ! fakesink async=false";

Samples Tone(double hertz, std::size_t count, double level = 12000) {
    Samples samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = static_cast<std::int16_t>(
            level * std::sin(2 * std::numbers::pi * hertz * static_cast<double>(i) / kRate));
    }
    return samples;
}

// As clients send it.
std::string Coded(const Samples& samples) {
    SoundConfig form;
    form.format = SoundFormat::G726;
    form.bits = 4;
    const auto bytes = CreateSoundEncoder(form)->Encode(samples);
    return {bytes.begin(), bytes.end()};
}

double HertzOf(const Samples& samples) {
    int crossings = 0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        crossings += (samples[i - 1] < 0) != (samples[i] < 0) ? 1 : 0;
    }
    return crossings * (kRate / 2.0) / static_cast<double>(samples.size());
}

// What a camera heard.
Samples ReadHeard(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), {});
    Samples samples;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        samples.push_back(static_cast<std::int16_t>(static_cast<unsigned char>(bytes[i]) |
                                                    static_cast<unsigned char>(bytes[i + 1]) << 8));
    }
    return samples;
}

TalkTiming Quick() {
    TalkTiming timing;
    timing.open = milliseconds(2000);
    timing.rest = milliseconds(300);
    timing.camera.pauses.fill(milliseconds(20));
    return timing;
}

class CameraTalkTest : public ServiceTest {
protected:
    void Serve(const std::string& url, const TalkTiming& timing = Quick()) {
        model.reset();
        model = std::make_shared<RecorderModel>(hub, nullptr,
                                                CreateCameraTalkMaker(timing, CreateOnvifStreamFinder()));
        ChannelConfig& channel = config.channels[0];
        channel.audio.reset();
        NetworkCamera& camera = channel.source.network;
        camera.url = url;
        camera.user = "guard";
        camera.password = "sesame";
        Start();
    }
    bool TakesTalk() {
        return Ask(kCapabilities).body.find("<ch0><audio_out>1</audio_out><audio_out_type>1<") !=
               std::string::npos;
    }
    bool HasSound() { return Ask(kProperty).body.find("audio_enabled") != std::string::npos; }
    std::vector<std::string> Log() {
        std::vector<std::string> lines;
        for (const Event& event : model->Events().Latest(std::chrono::hours(1))) {
            lines.push_back(event.text);
        }
        return lines;
    }
};

}  // namespace

TEST_F(CameraTalkTest, WhatIsSaidComesOutOfTheCamera) {
    const struct {
        const char* law;
        bool overUdp;
        const char* login;
        bool onvif;
        bool encrypted;
    } cases[] = {{"pcmu", false, "--digest", false, false},
                 {"pcma", true, "--basic", false, false},
                 {"pcmu", true, "--digest", false, true},
                 {"pcmu", false, "", true, false}};
    for (const auto& given : cases) {
        SCOPED_TRACE(std::string(given.law) + given.login);
        const TempFolder folder;
        std::vector<std::string> arguments = {"--hear", given.law, folder.File("heard")};
        CertificateMaker maker(folder.Path());
        if (given.encrypted) {
            const MadeCertificate made = maker.Make();
            arguments.insert(arguments.end(), {"--tls", made.file});
            config.channels[0].source.network.certificate = made.shown;
        }
        if (given.login[0] != '\0') {
            arguments.insert(arguments.end(), {given.login, "guard", "sesame"});
        }
        arguments.insert(arguments.end(), {"/yard", kSounding});
        const RtspPeer peer(arguments);
        OnvifDeviceSetup setup;
        setup.rtspMain = peer.Url("/yard");
        const OnvifDevice device(setup);
        config.channels[0].source.network.overUdp = given.overUdp;
        config.channels[0].talk.reset();
        Serve(given.onvif ? device.Url() : peer.Url("/yard"));
        ASSERT_TRUE(WaitUntil([&] { return TakesTalk(); })) << "nobody said so in the configuration";
        EXPECT_TRUE(HasSound()) << "it sends sound as well";

        RecorderClient talker(port);
        talker.Send(Get(kTalk));
        talker.ReadHead();
        const std::string said = Coded(Tone(440, 8000));
        for (std::size_t at = 0; at < said.size(); at += 1000) {
            talker.Send(said.substr(at, 1000));
            std::this_thread::sleep_for(milliseconds(250));
        }
        const auto heard = [&] { return ReadHeard(folder.File("heard")); };
        ASSERT_TRUE(WaitUntil([&] { return heard().size() >= 4000; })) << heard().size();
        EXPECT_NEAR(HertzOf(heard()), 440, 15);
        EXPECT_THAT(Log(), testing::Not(Contains(HasSubstr("nobody can talk"))));
        service.reset();
        config.channels = DemoChannels(3);
    }
}

TEST_F(CameraTalkTest, TheClientsOwnTalkGoesAllTheWay) {
    const TempFolder folder;
    const RtspPeer peer({"--hear", "pcmu", folder.File("heard"), "/yard", kSeen});
    config.channels[0].talk.reset();
    Serve(peer.Url("/yard"));
    ASSERT_TRUE(WaitUntil([&] { return TakesTalk(); }));
    EXPECT_FALSE(HasSound()) << "it sends none";
    const auto log = std::make_shared<MessageLog>();
    const kvmon::WindowHandle window(log);
    kvmon::CameraSettings settings = SettingsOf(0, port);
    settings.m_lpszSvrBase64Auth = "YWRtaW46c2VjcmV0";
    const auto camera = MakeCamera(settings);
    camera->SetTalkCapability(1, 1);
    ASSERT_TRUE(camera->PrepareTalking(window, std::make_shared<kvmon::FlagWord>(0)));
    const Samples said = Tone(900, 8000);
    for (std::size_t at = 0; at < said.size(); at += 2000) {
        ASSERT_TRUE(camera->SendTalkingData(window, std::span(said).subspan(at, 2000)));
        std::this_thread::sleep_for(milliseconds(250));
    }
    ASSERT_TRUE(WaitUntil([&] { return ReadHeard(folder.File("heard")).size() >= 4000; }));
    EXPECT_NEAR(HertzOf(ReadHeard(folder.File("heard"))), 900, 30);
}

namespace {

std::string Answer(const std::string& request, int status, const std::string& headers = "",
                   const std::string& body = "") {
    const std::size_t at = request.find("CSeq: ");
    return "RTSP/1.0 " + std::to_string(status) +
           " Word\r\nCSeq: " + request.substr(at + 6, request.find('\r', at) - at - 6) + "\r\n" + headers +
           (body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n") + "\r\n" + body;
}

const std::string kPictures = "v=0\r\nm=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=recvonly\r\n";
const std::string kSound = "m=audio 0 RTP/AVP 8\r\na=recvonly\r\n";
const std::string kEar =
    "m=audio 0 RTP/AVP 97 0\r\na=rtpmap:97 MPEG4-GENERIC/16000\r\na=control:back\r\na=sendonly\r\n";

// A camera that answers as it should, up to a request that it answers in another way.
ScriptedServer::Script Camera(const std::string& sdp, const std::string& odd = "none",
                              const std::function<void(Peer&, const std::string& request)>& oddly = {}) {
    return [=](Peer& peer) {
        while (true) {
            const std::string request = peer.ReadHead();
            const std::string method = request.substr(0, request.find(' '));
            if (request.empty()) {
                return;
            }
            if (method == odd) {
                return oddly(peer, request);
            }
            if (method == "DESCRIBE") {
                peer.Write(Answer(request, 200, "Content-Type: application/sdp\r\n", sdp));
            } else if (method == "SETUP") {
                peer.Write(
                    Answer(request, 200,
                           "Session: 77;timeout=60\r\nTransport: RTP/AVP/TCP;unicast;interleaved=4-5\r\n"));
            } else {
                peer.Write(Answer(request, 200, "Session: 77\r\n"));
            }
        }
    };
}

std::string UrlOf(const ScriptedServer& server) {
    return "rtsp://127.0.0.1:" + std::to_string(server.Port()) + "/yard";
}

}  // namespace

TEST_F(CameraTalkTest, ClientsAreToldWhatTheCameraOffers) {
    const auto knowsNoWayBack = [](Peer& peer, const std::string& request) {
        peer.Write(Answer(request, 551, "Unsupported: www.onvif.org/ver20/backchannel\r\n"));
        peer.Write(Answer(peer.ReadHead(), 200, "", kPictures + kSound));
        peer.Hold();
    };
    const struct {
        const char* name;
        ScriptedServer::Script camera;
        std::optional<bool> audio;  // as configured
        std::optional<bool> talk;
        bool sound;
        bool talks;
    } cases[] = {
        {"both", Camera(kPictures + kSound + kEar), {}, {}, true, true},
        {"pictures alone", Camera(kPictures), true, {}, false, false},
        {"switched off", Camera(kPictures + kSound + kEar), false, false, false, false},
        {"no way back", Camera("", "DESCRIBE", knowsNoWayBack), {}, {}, true, false},
        {"an ear for what cannot be made",
         Camera(kPictures + "m=audio 0 RTP/AVP 97\r\na=rtpmap:97 MPEG4-GENERIC/16000\r\na=sendonly\r\n"),
         {},
         {},
         false,
         false},
        {"all told from the camera's side",
         Camera("v=0\r\na=sendonly\r\nm=video 0 RTP/AVP 96\r\na=sendonly\r\nm=audio 0 RTP/AVP 0\r\n"),
         {},
         {},
         true,
         false},
    };
    for (const auto& given : cases) {
        SCOPED_TRACE(given.name);
        const ScriptedServer camera(given.camera);
        config.channels[0].talk = given.talk;
        model.reset();
        model = std::make_shared<RecorderModel>(hub, nullptr, CreateCameraTalkMaker(Quick()));
        config.channels[0].source.network.url = UrlOf(camera);
        config.channels[0].audio = given.audio;
        Start();
        RecorderClient listener(port);
        listener.Send(Get("/cgi-bin/notify.cgi"));
        listener.ReadHead();
        ASSERT_TRUE(WaitUntil([&] { return model->Current()->channels[0].offer.has_value(); }));
        EXPECT_EQ(HasSound(), given.sound);
        EXPECT_EQ(TakesTalk(), given.talks);
        RecorderClient talker(port);
        talker.Send(Get(kTalk));
        EXPECT_THAT(talker.ReadHead(), testing::StartsWith(given.talks ? "HTTP/1.0 200" : "HTTP/1.0 404"));
        service.reset();
    }
    // A camera of pictures alone is not asked.
    config.channels[0].source.network.url = "http://127.0.0.1:1/video";
    config.channels[0].audio = true;
    model.reset();
    model = std::make_shared<RecorderModel>(hub, nullptr, CreateCameraTalkMaker(Quick()));
    Start();
    EXPECT_FALSE(HasSound());
}

TEST_F(CameraTalkTest, AChangedOfferIsToldWhenTheCameraIsBack) {
    std::atomic<bool> hears{false};
    const ScriptedServer camera([&](Peer& peer) { Camera(hears ? kPictures + kEar : kPictures)(peer); });
    config.channels[0].talk.reset();
    Serve(UrlOf(camera));
    RecorderClient listener(port);
    listener.Send(Get("/cgi-bin/notify.cgi"));
    listener.ReadHead();
    ASSERT_TRUE(WaitUntil([&] { return model->Current()->channels[0].offer.has_value(); }));
    EXPECT_EQ(model->Current()->channels[0].offer, CameraOffer{});
    while (!listener.Silent(milliseconds(50))) {
        listener.ReadLine();
    }
    hears = true;
    hub->Tell(0, MediaEvent::Lost, true);
    hub->Tell(0, MediaEvent::Lost, false);
    EXPECT_TRUE(WaitUntil([&] { return model->Current()->channels[0].offer == CameraOffer{false, true}; }));
    bool told = false;
    for (int i = 0; i < 3 && !told; ++i) {
        told = listener.ReadLine().starts_with("2");
    }
    EXPECT_TRUE(told) << "clients learn of it as of any other change of channels";
}

// Of another make, with nobody who takes its pictures; and one that says no unless they are played, too, and
// then sends more of them than anybody should have to read.
TEST_F(CameraTalkTest, PicturesArePlayedForACameraThatWantsThem) {
    std::atomic<std::size_t> heard{0};
    std::atomic<bool> isPlaying{false};
    const ScriptedServer strict([&](Peer& camera) {
        bool shows = false;
        std::string session;
        while (true) {
            std::string request = camera.ReadHead();
            if (request.empty()) {
                return;
            }
            const std::string method = request.substr(0, request.find(' '));
            if (method == "DESCRIBE") {
                camera.Write(Answer(request, 200, "Content-Type: application/sdp\r\n",
                                    kPictures + "a=control:pics\r\n" + kEar));
            } else if (method == "SETUP") {
                const bool pictures = request.find("/pics ") != std::string::npos;
                shows = shows || pictures;
                camera.Write(
                    Answer(request, 200,
                           std::string("Session: 77\r\nTransport: RTP/AVP/TCP;unicast;interleaved=") +
                               (pictures ? "2-3" : "0-1") + "\r\n"));
            } else if (method == "PLAY" && !shows) {
                camera.Write(Answer(request, 455));
            } else {
                camera.Write(Answer(request, 200));
            }
            if (method == "PLAY" && shows) {
                break;
            }
        }
        isPlaying = true;
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
    EXPECT_TRUE(isPlaying);
    EXPECT_THAT(Log(), testing::Not(Contains(HasSubstr("nobody can talk"))));
    service.reset();
}

TEST_F(CameraTalkTest, ACameraThatFailsIsToldOfInALineAndLetsTheTalkerGo) {
    const auto answers = [](int status, const char* headers) {
        return [=](Peer& peer, const std::string& request) {
            peer.Write(Answer(request, status, headers));
            peer.Hold();
        };
    };
    const auto holds = [](Peer& peer, const std::string&) { peer.Hold(); };
    const auto cuts = [](Peer& peer, const std::string&) { peer.Reset(); };
    const struct {
        ScriptedServer::Script camera;
        const char* words;
    } cases[] = {
        {Camera(kPictures), "the camera plays nothing that is said to it"},
        {Camera("", "DESCRIBE", answers(551, "")), "the camera plays nothing that is said to it"},
        {Camera("", "DESCRIBE", answers(404, "")), "the camera knows no such path"},
        {Camera(kEar, "SETUP", answers(454, "")), "the status 454"},
        {Camera(kEar, "SETUP", answers(200, "Session: 4\r\nTransport: RTP/AVP;unicast\r\n")),
         "the camera does not answer"},
        {Camera(kEar, "SETUP", answers(200, "")), "the camera's answer cannot be understood"},
        {Camera(kEar, "SETUP", holds), "the camera does not answer"},
        {Camera(kEar, "PLAY", cuts), "the camera closed the connection"},
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
                 peer.Write(Answer(request, 401, "WWW-Authenticate: Basic realm=\"yard\"\r\n"));
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
            return Camera(kPictures + kEar)(peer);  // what it offers
        }
        for (const char* turn : {"DESCRIBE", "SETUP", "PLAY"}) {
            const std::string request = peer.ReadHead();
            EXPECT_TRUE(request.starts_with(turn)) << request;
            EXPECT_THAT(request, HasSubstr("Require: www.onvif.org/ver20/backchannel\r\n"));
            std::this_thread::sleep_for(milliseconds(200));
            peer.Write(turn[0] == 'D' ? Answer(request, 200, "", kPictures + kEar)
                                      : Answer(request, 200,
                                               "Session: 77\r\nTransport: RTP/AVP/TCP;interleaved=4-5\r\n"));
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
    const ScriptedServer camera([&](Peer& peer) {
        const std::string described = kPictures + kEar;
        int alive = 0;
        while (true) {
            const std::string request = peer.ReadHead();
            if (request.empty()) {
                return;
            }
            const bool keeps = request.find("OPTIONS ") != std::string::npos;
            const char* const nonce = keeps ? "second" : "first";
            if (request.find("nonce=\"" + std::string(nonce)) == std::string::npos &&
                request.find("TEARDOWN ") == std::string::npos) {
                peer.Write(
                    Answer(request, 401,
                           "WWW-Authenticate: Digest realm=\"x\", nonce=\"" + std::string(nonce) + "\"\r\n"));
            } else if (request.starts_with("DESCRIBE")) {
                peer.Write(Answer(request, 200, "", described));
            } else {
                peer.Write(Answer(request, 200,
                                  "Session: 77;timeout=4\r\nTransport: RTP/AVP/TCP;interleaved=0-1\r\n"));
            }
            if (keeps && ++alive == 2) {
                renewed.set_value(request);
            }
        }
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
