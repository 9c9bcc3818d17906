// A channel that takes its pictures from the camera itself, with a camera and a recorder of a test's own.
#include <gmock/gmock.h>

#include "channel/base_camera.h"
#include "channel/channel_core.h"
#include "channel/channel_globals.h"
#include "codec/jpeg_codec.h"
#include "persist/orvo_registry.h"
#include "stream_maker.h"
#include "support/fake_clock.h"
#include "support/scripted_server.h"
#include "support/temp_folder.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using kvtest::FakeClock;
using kvtest::HttpReply;
using kvtest::Peer;
using kvtest::ScriptedServer;
using kvtest::StreamMaker;
using kvtest::WaitUntil;

// A picture of one colour.
std::string Jpeg(int width, int height, std::uint8_t grey) {
    const BITMAPINFOHEADER info = MakeBitmapInfo(width, height);
    const std::vector<std::uint8_t> bitmap(info.biSizeImage, grey);
    std::vector<std::uint8_t> jpeg;
    EXPECT_EQ(SaveJpegMemory(jpeg, info, bitmap, 90, true), nullptr);
    return {jpeg.begin(), jpeg.end()};
}

std::string Part(const std::string& jpeg) {
    return "--edge\r\nContent-Type: image/jpeg\r\nContent-Length: " + std::to_string(jpeg.size()) +
           "\r\n\r\n" + jpeg + "\r\n\r\n";
}

const std::string kGood =
    "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=--edge\r\n\r\n";

// Sends the same to every connection and then holds it open.
ScriptedServer::Script Serve(std::string reply) {
    return [reply = std::move(reply)](Peer& peer) {
        peer.ReadHead();
        peer.Write(reply);
        peer.Hold();
    };
}

class DirectCamera : public testing::Test {
protected:
    ~DirectCamera() override {
        if (camera) {
            EXPECT_TRUE(camera->StopCameraThreads(true));
        }
        Globals().streamFromCamera = true;
        EXPECT_EQ(Worker::AbandonedCount(), 0);
    }
    static CameraSettings SettingsFor(std::uint16_t cameraPort, std::uint16_t recorderPort) {
        CameraSettings settings;
        settings.m_dwVendorId = 0;
        settings.m_NetworkSetting[0].szAddress = "127.0.0.1";
        settings.m_NetworkSetting[0].nPort = cameraPort;
        settings.m_lpszCamUserName = "viewer";
        settings.m_lpszCamPasswd = "pass";
        settings.m_lpszVideoURL = "/video.mjpg?a b\r\nEvil: 1";
        settings.m_nSvrPort = recorderPort;
        settings.m_lpszSvrIP = "127.0.0.1";
        settings.m_lpszSvrBase64Auth = "dXNlcjpwYXNz";
        settings.m_bMonitorRight = 1;
        return settings;
    }
    void Play(const CameraSettings& settings, Clock& clock = SystemClock()) {
        camera = CreateCamera(&settings, clock);
        *camera = settings;
        camera->StartCameraThreads();
        camera->StartPlaying(false, false);
    }
    bool Shown(std::uint64_t count) {
        return WaitUntil([&] { return camera->GetStatistics().shown >= count; });
    }
    std::string Line(SubString line) const { return camera->Picture().GetSubString(line); }

    FakeClock fakeClock{true};  // outlives the channel
    std::shared_ptr<CBaseCamera> camera;
};

TEST_F(DirectCamera, AsksTheCameraAndFollowsTheOptionWhileItPlays) {
    StreamMaker maker("libx264", 64, 48);
    // The first picture of all is refused: the channel waits for a key frame, which lifts that.
    ScriptedServer device(
        Serve(kGood + Part(Jpeg(80, 60, 40)) + Part(Jpeg(80, 60, 40)) + Part(Jpeg(80, 60, 40))));
    ScriptedServer recorder(Serve(HttpReply(200, "OK", kvtest::Records(wire::kZ264, maker, 64, 48, 2))),
                            "getstream.cgi");
    Play(SettingsFor(device.Port(), recorder.Port()));
    EXPECT_TRUE(camera->CanStreamFromCamera());
    ASSERT_TRUE(Shown(2));
    EXPECT_EQ(device.Heads()[0],
              "GET /video.mjpg?a%20b%0D%0AEvil:%201 HTTP/1.0\r\nHost: 127.0.0.1\r\n"
              "Connection: Keep-Alive\r\nAuthorization: Basic dmlld2VyOnBhc3M=\r\n\r\n");
    EXPECT_EQ(camera->Picture().GetBitmapInfo().biWidth, 80);
    EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Camera");
    EXPECT_EQ(Line(SubString::SysInfoFrom), "SysInfo From: Camera");
    EXPECT_EQ(Line(SubString::PtzCmdTo), "PtzCmd To: Camera");
    EXPECT_EQ(Line(SubString::FrameType), "Frame Type: MJPG");
    EXPECT_FALSE(camera->SetViewSize(640, 480)) << "a camera's stream is no choice of sizes";
    EXPECT_EQ(recorder.ConnectionCount(), 0);

    const auto shown = [&] { return camera->GetStatistics().shown; };
    std::uint64_t before = shown();
    Globals().streamFromCamera = false;
    camera->RestartPlaying();
    ASSERT_TRUE(Shown(before + 2));
    EXPECT_THAT(recorder.Heads()[0],
                testing::StartsWith("GET /cgi-bin/getstream.cgi?ch=0&stream_id=0  HTTP"));
    EXPECT_EQ(camera->Picture().GetBitmapInfo().biWidth, 64);
    EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Server");
    EXPECT_EQ(Line(SubString::SysInfoFrom), "");

    // The channel's own word goes before the option, and one that changes nothing restarts nothing.
    before = shown();
    camera->SetStreamFrom(2);
    ASSERT_TRUE(Shown(before + 2));
    EXPECT_EQ(camera->Picture().GetBitmapInfo().biWidth, 80);
    camera->SetStreamFrom(3);
    Globals().streamFromCamera = true;
    camera->SetStreamFrom(0);
    EXPECT_EQ(device.ConnectionCount(), 2);
    before = shown();
    camera->SetStreamFrom(1);
    ASSERT_TRUE(Shown(before + 2));
    EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Server");
}

TEST_F(DirectCamera, OnlyARecordWithoutAMakerButWithAnAddressIsOne) {
    CameraSettings settings = SettingsFor(1, 2);
    for (const auto& [vendor, url, direct] :
         {std::tuple{0u, "/v", true}, std::tuple{0u, "", false}, std::tuple{9u, "/v", false}}) {
        settings.m_dwVendorId = vendor;
        settings.m_lpszVideoURL = std::string_view(url);
        const auto made = CreateCamera(&settings);
        *made = settings;
        EXPECT_EQ(made->CanStreamFromCamera(), direct);
        EXPECT_EQ(made->IsStreamFromCamera(), direct);
    }
}

// Whole addresses and such without a slash; without a user nobody logs in.
TEST_F(DirectCamera, TakesThePathOfWhateverAddressIsTold) {
    ScriptedServer device(Serve(""));
    for (const auto& [url, path] : {std::pair{"http://elsewhere:8080/a/b?c=1", "/a/b?c=1"},
                                    std::pair{"http://elsewhere", "/"}, std::pair{"cam.jpg", "/cam.jpg"}}) {
        CameraSettings settings = SettingsFor(device.Port(), 1);
        settings.m_lpszVideoURL = std::string_view(url);
        settings.m_lpszCamUserName = std::string_view();
        const auto before = device.Heads().size();
        Play(settings);
        ASSERT_TRUE(device.WaitForHeads(before + 1));
        EXPECT_EQ(
            device.Heads()[before],
            std::string("GET ") + path + " HTTP/1.0\r\nHost: 127.0.0.1\r\nConnection: Keep-Alive\r\n\r\n");
        ASSERT_TRUE(camera->StopCameraThreads(true));
    }
}

// Six quiet failures, and with the seventh the other way is tried. What the channel learnt is kept.
TEST_F(DirectCamera, ACameraThatIsNotThereIsTriedByItsOtherWay) {
    const kvtest::TempFolder folder;
    RegistryApp tree;
    tree.databasePath = folder.File("settings.db");
    Registry().InitRegistry(false, tree);
    for (const bool refused : {true, false}) {
        ScriptedServer none([](Peer& peer) {
            peer.ReadHead();
            peer.Write(HttpReply(404, "Not Found", ""));
        });
        ScriptedServer device(Serve(kGood + Part(Jpeg(80, 60, 40)) + Part(Jpeg(80, 60, 40))));
        ScriptedServer recorder([](Peer& peer) { peer.Hold(); });
        CameraSettings settings = SettingsFor(refused ? kvtest::UnusedPort() : none.Port(), recorder.Port());
        settings.m_NetworkSetting[1].szAddress = "127.0.0.1";
        settings.m_NetworkSetting[1].nPort = device.Port();
        Play(settings, fakeClock);
        ASSERT_TRUE(Shown(1));
        EXPECT_EQ(none.ConnectionCount(), refused ? 0 : 7);
        EXPECT_EQ(device.ConnectionCount(), 1);
        camera->SetRegFolder("Site");
        camera->SaveCameraSettings();
        EXPECT_EQ(Registry().GetProfileInt("Site\\Ch00", "CameraNetworkSettingIdx", 9), 1u);
        ASSERT_TRUE(camera->StopCameraThreads(true));

        // The next run begins with the way that led somewhere.
        const auto again = CreateCamera(&settings, fakeClock);
        *again = settings;
        again->SetRegFolder("Site");
        again->LoadCameraSettings();
        again->StartCameraThreads();
        again->StartPlaying(false, false);
        EXPECT_TRUE(WaitUntil([&] { return again->GetStatistics().shown > 0; }));
        EXPECT_EQ(none.ConnectionCount(), refused ? 0 : 7);
        again->StopCameraThreads(true);
    }
}

// A guard wants a picture: with no way left the option gives way, and the channel's own word does not.
TEST_F(DirectCamera, WithoutItsCameraAChannelThatFollowsTheOptionShowsTheRecordersPictures) {
    StreamMaker maker("libx264", 64, 48);
    ScriptedServer recorder(Serve(HttpReply(200, "OK", kvtest::Records(wire::kZ264, maker, 64, 48, 2))),
                            "getstream.cgi");
    std::atomic<int> tried{0};
    std::atomic<bool> bBack{false};
    ScriptedServer device([&](Peer& peer) {
        ++tried;
        peer.ReadHead();
        peer.Write(bBack ? kGood + Part(Jpeg(80, 60, 40)) + Part(Jpeg(80, 60, 40))
                         : HttpReply(404, "Not Found", ""));
        if (bBack) {
            peer.Hold();
        }
    });
    Play(SettingsFor(device.Port(), recorder.Port()), fakeClock);
    ASSERT_TRUE(Shown(1));
    EXPECT_EQ(tried, 7);
    EXPECT_EQ(camera->Picture().GetBitmapInfo().biWidth, 64);
    EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Server");

    bBack = true;
    const std::uint64_t before = camera->GetStatistics().shown;
    camera->SetStreamFrom(2);
    ASSERT_TRUE(Shown(before + 1));
    EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Camera");
}

TEST(NetworkSetting, SwitchesOnlyWhileNothingWasShown) {
    CameraSettings settings;
    settings.m_dwVendorId = 0;
    settings.m_lpszVideoURL = "/v";
    ChannelCore core(SystemClock(), KindFor(settings));
    core.m_settings = settings;
    core.m_settings.m_NetworkSetting[0].szAddress = "10.0.0.1";
    core.m_settings.m_NetworkSetting[0].nPort = 80;
    const auto caption = [&] { return core.m_picture.GetMainCaption(); };
    core.SwitchNetworkSetting();
    EXPECT_EQ(core.m_nNetworkSettingIdx, 2u) << "there is no other way";
    core.m_settings.m_NetworkSetting[1].szAddress = "10.0.0.2";
    core.m_settings.m_NetworkSetting[1].nPort = 81;
    core.SwitchNetworkSetting();
    TargetSettings target;
    EXPECT_TRUE(core.GetTargetSettings(target));
    EXPECT_EQ(target.szAddress.View(), "10.0.0.2");
    EXPECT_EQ(target.nPort, 81u);
    EXPECT_EQ(core.m_CamCmdQueue.GetCount(), 1u) << "what the camera can do is read anew";
    core.SwitchNetworkSetting();
    EXPECT_EQ(caption(), "");
    core.SwitchNetworkSetting();
    EXPECT_EQ(caption(), "Disconnected") << "after four switches the user hears of it";
    EXPECT_EQ(core.m_nNetworkSettingIdx, 5u);
    core.m_bStreamRunning = true;
    core.SwitchNetworkSetting();
    EXPECT_EQ(core.m_nNetworkSettingIdx, 5u);
    // Commands go to the recorder all the same.
    core.m_settings.m_lpszSvrIP = "10.0.0.9";
    EXPECT_TRUE(core.GetKelvaraSettings(target));
    EXPECT_EQ(target.szAddress.View(), "10.0.0.9");
}

// Each of them is tried anew, and none holds up a stop or a pause.
TEST_F(DirectCamera, OutlivesWhatACameraDoes) {
    const std::string good = Part(Jpeg(80, 60, 40));
    const std::string half = good.substr(0, good.size() / 2);
    std::string wrong = good;
    wrong.replace(wrong.find("Length: ") + 8, 1, "9");
    for (const std::string& reply :
         {std::string(), std::string("HTTP/1.0 500 Broken\r\n\r\n"), kGood, kGood + half,
          kGood + wrong + good, kGood + "--edge\r\nContent-Length: 60000000\r\n\r\n"}) {
        std::atomic<bool> recovers{false};
        ScriptedServer device([&](Peer& peer) {
            peer.ReadHead();
            if (!recovers) {
                peer.Write(reply);
                return;
            }
            peer.Write(kGood + good + good + good);
            peer.Hold();
        });
        ScriptedServer recorder([](Peer& peer) { peer.Hold(); });
        Play(SettingsFor(device.Port(), recorder.Port()), fakeClock);
        EXPECT_TRUE(device.WaitForHeads(3)) << reply;
        recovers = true;
        EXPECT_TRUE(Shown(1)) << reply;
        EXPECT_TRUE(camera->StopCameraThreads(true));

        ScriptedServer stalled(Serve(reply));
        Play(SettingsFor(stalled.Port(), recorder.Port()));
        ASSERT_TRUE(stalled.WaitForHeads(1));
        const std::uint64_t start = SystemClock().TickMs();
        camera->PausePlaying();
        EXPECT_TRUE(camera->StopCameraThreads(true));
        EXPECT_LT(SystemClock().TickMs() - start, 2500u) << reply;
    }
}

// The plain camera has no request for sound: a connection opens and closes, and only while sound is wanted.
TEST_F(DirectCamera, SoundIsAskedForOnlyWhileItIsWanted) {
    std::atomic<int> silent{0};
    ScriptedServer device([&](Peer& peer) {
        if (peer.ReadHead().empty()) {
            ++silent;
            return;
        }
        peer.Write(kGood + Part(Jpeg(80, 60, 40)) + Part(Jpeg(80, 60, 40)));
        peer.Hold();
    });
    ScriptedServer recorder([](Peer& peer) { peer.Hold(); });
    Play(SettingsFor(device.Port(), recorder.Port()), fakeClock);
    camera->SetSupportAudio(true);
    camera->StartAudioThread(false);
    ASSERT_TRUE(Shown(1));
    EXPECT_EQ(device.ConnectionCount(), 1);
    camera->SetPlayAudio(true);
    EXPECT_TRUE(WaitUntil([&] { return silent >= 2; })) << "and again";
    camera->SetPlayAudio(false);
    EXPECT_TRUE(camera->StopCameraThreads(true));
    const int all = device.ConnectionCount();

    // Sound of the recorder comes with its pictures.
    Globals().streamFromCamera = false;
    camera->StartCameraThreads();
    camera->StartAudioThread(true);
    camera->StartPlaying(true, true);
    EXPECT_TRUE(WaitUntil([&] { return recorder.ConnectionCount() > 0; }));
    EXPECT_EQ(device.ConnectionCount(), all);
}

}  // namespace
}  // namespace kvmon
