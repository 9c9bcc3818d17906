// What a channel asks of the camera itself, and what it bears from it.
#include <gmock/gmock.h>

#include "direct_camera.h"

namespace kvmon {
namespace {

using kvtest::DirectCamera;
using kvtest::HttpReply;
using kvtest::Jpeg;
using kvtest::kGood;
using kvtest::Part;
using kvtest::Peer;
using kvtest::Repeat;
using kvtest::ScriptedServer;
using kvtest::SendAndHold;
using kvtest::StreamMaker;
using kvtest::WaitUntil;

TEST_F(DirectCamera, AsksTheCameraAndFollowsTheOptionWhileItPlays) {
    StreamMaker maker("libx264", 64, 48);
    ScriptedServer device([part = Part(Jpeg(80, 60, 40))](Peer& peer) {
        peer.ReadHead();
        peer.Write(kGood);
        Repeat(peer, part);
    });
    ScriptedServer recorder(SendAndHold(HttpReply(200, "OK", kvtest::Records(wire::kZ264, maker, 64, 48, 2))),
                            "getstream.cgi");
    Play(SettingsFor(device.Port(), recorder.Port()), fakeClock);
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

    Globals().streamFromCamera = false;
    camera->FollowStreamOption();
    const auto width = [&](int wanted) {
        return WaitUntil([&] { return camera->Picture().GetBitmapInfo().biWidth == wanted; });
    };
    ASSERT_TRUE(width(64));
    EXPECT_THAT(recorder.Heads()[0],
                testing::StartsWith("GET /cgi-bin/getstream.cgi?ch=0&stream_id=0  HTTP"));
    EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Server");
    EXPECT_EQ(Line(SubString::SysInfoFrom), "");

    // The channel's own word goes before the option, and one that changes nothing restarts nothing.
    camera->SetStreamFrom(kStreamFromCamera);
    ASSERT_TRUE(width(80));
    camera->SetStreamFrom(3);
    Globals().streamFromCamera = true;
    camera->SetStreamFrom(kStreamFromOption);
    EXPECT_EQ(device.ConnectionCount(), 2);
    camera->SetStreamFrom(kStreamFromRecorder);
    ASSERT_TRUE(width(64));
    EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Server");
}

TEST_F(DirectCamera, OnlyARecordWithoutAMakerButWithAnAddressIsOne) {
    CameraSettings settings = SettingsFor(1, 2);
    for (const auto& [vendor, url, direct] :
         {std::tuple{0u, "/v", true}, std::tuple{0u, "", false}, std::tuple{9u, "/v", false}}) {
        settings.m_dwVendorId = vendor;
        settings.m_lpszVideoURL = std::string_view(url);
        const auto made = kvtest::MakeCamera(settings);
        EXPECT_EQ(made->CanStreamFromCamera(), direct);
        EXPECT_EQ(made->IsStreamFromCamera(), direct);
    }
}

// Whole addresses and such without a slash; without a user nobody logs in.
TEST_F(DirectCamera, TakesThePathOfWhateverAddressIsTold) {
    ScriptedServer device(SendAndHold(""));
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
        ASSERT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
    }
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
        ScriptedServer recorder([](Peer& peer) { peer.Hold(); }, "getstream.cgi");
        Play(Alone(SettingsFor(device.Port(), recorder.Port())), selfMoving);
        EXPECT_TRUE(device.WaitForHeads(3)) << reply;
        recovers = true;
        EXPECT_TRUE(Shown(1)) << reply;
        EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));

        ScriptedServer stalled(SendAndHold(reply));
        Play(SettingsFor(stalled.Port(), recorder.Port()));
        ASSERT_TRUE(stalled.WaitForHeads(1));
        const std::uint64_t start = SystemClock().TickMs();
        camera->PausePlaying();
        EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
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
        peer.Write(kGood + Part(Jpeg(80, 60, 40)));
        peer.Hold();
    });
    ScriptedServer recorder([](Peer& peer) { peer.Hold(); }, "getstream.cgi");
    const CameraSettings settings = SettingsFor(device.Port(), recorder.Port());
    Play(Alone(settings), selfMoving);
    camera->SetSupportAudio(true);
    camera->StartAudioThread(CBaseCamera::AudioStart::IfNeeded);
    ASSERT_TRUE(Shown(1));
    EXPECT_EQ(device.ConnectionCount(), 1);
    camera->SetPlayAudio(true);
    EXPECT_TRUE(WaitUntil([&] { return silent >= 2; })) << "and again";
    camera->SetPlayAudio(false);
    EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));

    // Sound of the recorder comes with its pictures.
    ScriptedServer unasked([](Peer& peer) { peer.Hold(); });
    Globals().streamFromCamera = false;
    *camera = SettingsFor(unasked.Port(), recorder.Port());
    camera->SetSupportAudio(true);
    camera->StartCameraThreads();
    camera->StartAudioThread(CBaseCamera::AudioStart::Anew);
    camera->StartPlaying(PlaySound::Yes);
    EXPECT_TRUE(WaitUntil([&] { return recorder.ConnectionCount() > 0; }));
    EXPECT_EQ(unasked.ConnectionCount(), 0);
}

}  // namespace
}  // namespace kvmon
