// What is said in the client comes out of a camera, and what a camera offers is what clients are told.
#include <fstream>

#include "channel/sound/talk_back.h"
#include "rtsp_peer.h"
#include "support/camera_maker.h"
#include "support/message_log.h"
#include "support/onvif_device/onvif_device.h"
#include "support/temp_folder.h"
#include "support/tls_peer/made_certificate.h"
#include "talk_fixture.h"

namespace kvtest {
namespace {

using testing::Contains;
using testing::HasSubstr;

// Of a camera that is only talked to nobody takes the pictures and the sound, which this peer wants somebody
// to.
const std::string kSeen = Pictures(
    "x264enc tune=zerolatency key-int-max=12 speed-preset=ultrafast ! tee name=seen ! "
    "rtph264pay name=pay0 seen. ! fakesink async=false");
const std::string kSounding =
    kSeen +
    " audiotestsrc is-live=true ! audio/x-raw,channels=1,rate=8000 ! mulawenc ! tee "
    "name=heard ! rtppcmupay name=pay1 heard. ! fakesink async=false";

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

TEST_F(CameraTalkTest, ClientsAreToldWhatTheCameraOffers) {
    const auto knowsNoWayBack = [](Peer& camera) {
        ServeRtsp(camera, kPictures + kSound, {}, [](Peer& peer, const std::string& request) {
            const bool isAsked = request.find("\r\nRequire: ") != std::string::npos;
            if (isAsked) {
                peer.Write(RtspAnswer(request, 551, "Unsupported: www.onvif.org/ver20/backchannel\r\n"));
            }
            return isAsked;
        });
    };
    const struct {
        const char* name;
        ScriptedServer::Script camera;
        std::optional<bool> audio;  // as configured
        std::optional<bool> talk;
        bool sound;
        bool talks;
    } cases[] = {
        {"both", TalkCamera(kPictures + kSound + kEar), {}, {}, true, true},
        {"pictures alone", TalkCamera(kPictures), true, {}, false, false},
        {"switched off", TalkCamera(kPictures + kSound + kEar), false, false, false, false},
        {"no way back", knowsNoWayBack, {}, {}, true, false},
        {"an ear for what cannot be made",
         TalkCamera(kPictures + "m=audio 0 RTP/AVP 97\r\na=rtpmap:97 MPEG4-GENERIC/16000\r\na=sendonly\r\n"),
         {},
         {},
         false,
         false},
        {"all told from the camera's side",
         TalkCamera("v=0\r\na=sendonly\r\nm=video 0 RTP/AVP 96\r\na=sendonly\r\nm=audio 0 RTP/AVP 0\r\n"),
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
    const ScriptedServer camera([&](Peer& peer) { TalkCamera(hears ? kPictures + kEar : kPictures)(peer); });
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

}  // namespace kvtest
