// A channel that takes its pictures from the camera itself, with a camera and a recorder of a test's own.
#include <gmock/gmock.h>

#include "channel/base/channel_globals.h"
#include "channel/base/channel_messages.h"
#include "channel/camera/channel_core.h"
#include "channel/stream/camera_kinds.h"
#include "channel/stream/digest_login.h"
#include "codec/jpeg_codec.h"
#include "persist/utilities.h"
#include "stream_maker.h"
#include "support/camera_maker.h"
#include "support/fake_clock.h"
#include "support/message_log.h"
#include "support/own_settings.h"
#include "support/scripted_server.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using kvtest::FakeClock;
using kvtest::HttpReply;
using kvtest::milliseconds;
using kvtest::Peer;
using kvtest::ScriptedServer;
using kvtest::SendAndHold;
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

// Sends the same over and over, for as long as it is taken.
void Repeat(Peer& peer, const std::string& bytes) {
    while (peer.Write(bytes)) {
        std::this_thread::sleep_for(milliseconds(5));
    }
}

// What a round of 250 ms takes in a test: short where a silence is to end, long where none is to be seen.
constexpr milliseconds kHurried(30);
constexpr milliseconds kAtEase(1000);

// The recorder's stream, all key frames.
std::string KeyRecords() {
    StreamMaker maker("libx264", 64, 48, 1);
    return kvtest::Records(wire::kZ264, maker, 64, 48, 4);
}

// A recorder that has these records for whoever asks for a stream.
auto Streams(std::string records) {
    return [records = std::move(records)](Peer& peer) {
        peer.ReadHead();
        peer.Write(HttpReply(200, "OK", ""));
        Repeat(peer, records);
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
        CameraSettings settings = kvtest::SettingsOf(0, recorderPort);
        settings.m_dwVendorId = 0;
        settings.m_NetworkSetting[0].szAddress = "127.0.0.1";
        settings.m_NetworkSetting[0].nPort = cameraPort;
        settings.m_lpszCamUserName = "viewer";
        settings.m_lpszCamPasswd = "pass";
        settings.m_lpszVideoURL = "/video.mjpg?a b\r\nEvil: 1";
        return settings;
    }
    // Without a recorder to stand in the camera is tried for ever.
    static CameraSettings Alone(CameraSettings settings) {
        settings.m_lpszSvrIP = std::string_view();
        return settings;
    }
    void Play(const CameraSettings& settings, Clock& clock = SystemClock()) {
        camera = kvtest::MakeCamera(settings, clock);
        camera->SetRegFolder(regFolder);
        camera->LoadCameraSettings();
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::No);
    }
    bool Shown(std::uint64_t count) {
        return WaitUntil([&] { return camera->GetStatistics().shown >= count; });
    }
    std::string Line(SubString line) const { return camera->Picture().GetSubString(line); }

    FakeClock fakeClock;         // stands still; outlives the channel
    FakeClock selfMoving{true};  // passes over every wait
    std::shared_ptr<CBaseCamera> camera;
    std::string regFolder;  // nothing is stored without one
};

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
        ASSERT_TRUE(camera->StopCameraThreads(true));
    }
}

// Both ways have their time within the 3 s. What the channel learnt is kept.
TEST_F(DirectCamera, ACameraThatIsNotThereIsTriedByItsOtherWay) {
    const kvtest::OwnSettings stored;
    for (const char* const fault : {"refused", "404", "swallowed"}) {
        SCOPED_TRACE(fault);
        ScriptedServer none([&](Peer& peer) {
            if (std::string_view(fault) == "404") {
                peer.ReadHead();
                peer.Write(HttpReply(404, "Not Found", ""));
            } else {
                peer.Hold();
            }
        });
        ScriptedServer device([part = Part(Jpeg(80, 60, 40))](Peer& peer) {
            peer.ReadHead();
            peer.Write(kGood);
            Repeat(peer, part);
        });
        ScriptedServer recorder([](Peer& peer) { peer.Hold(); }, "getstream.cgi");
        const bool refused = std::string_view(fault) == "refused";
        CameraSettings settings = SettingsFor(refused ? kvtest::UnusedPort() : none.Port(), recorder.Port());
        settings.m_NetworkSetting[1].szAddress = "127.0.0.1";
        settings.m_NetworkSetting[1].nPort = device.Port();
        regFolder = fault;
        fakeClock.SetSocketRound(kHurried);
        Play(settings, fakeClock);
        ASSERT_TRUE(WaitUntil([&] { return device.ConnectionCount() == 1; }));
        fakeClock.SetSocketRound(kAtEase);
        ASSERT_TRUE(Shown(2));
        EXPECT_EQ(none.ConnectionCount(), refused ? 0 : 1);
        EXPECT_EQ(device.ConnectionCount(), 1);
        EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Camera");
        camera->SaveCameraSettings();
        EXPECT_EQ(Registry().GetProfileInt(std::string(fault) + "\\Ch00", "CameraNetworkSettingIdx", 9), 1u);
        ASSERT_TRUE(camera->StopCameraThreads(true));

        // The next run begins with the way that led somewhere.
        Play(settings, fakeClock);
        EXPECT_TRUE(Shown(2));
        EXPECT_EQ(none.ConnectionCount(), refused ? 0 : 1);
        EXPECT_TRUE(camera->StopCameraThreads(true));
    }
}

struct Fault {
    const char* name;
    ScriptedServer::Script script;  // null: nothing listens
    std::uint64_t shown = 0;        // pictures of the camera before it fails
};

std::vector<Fault> AllFaults() {
    const auto reply = [](std::string bytes) {
        return [bytes = std::move(bytes)](Peer& peer) {
            peer.ReadHead();
            peer.Write(bytes);
        };
    };
    const std::string part = Part(Jpeg(80, 60, 40));
    const std::string noPicture = "--edge\r\nContent-Length: 12\r\n\r\n\xFF\xD8 garbage\xFF\xD9\r\n\r\n";
    return {
        {"refused", nullptr},
        {"swallowed", [](Peer& peer) { peer.Hold(); }},
        {"hung up", [](Peer& peer) { peer.ReadHead(); }},
        {"401", reply(HttpReply(401, "Unauthorized", ""))},
        {"404", reply(HttpReply(404, "Not Found", ""))},
        {"500", reply(HttpReply(500, "Broken", ""))},
        {"no multipart", reply("HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n<html></html>")},
        {"another boundary", SendAndHold("HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace; "
                                         "boundary=other\r\n\r\n" +
                                         part)},
        {"a page that is no reply", reply("<html></html>\r\n\r\n")},
        {"silent behind its head", SendAndHold(kGood)},
        {"silent within a picture", SendAndHold(kGood + part.substr(0, part.size() / 2))},
        {"pictures that are none",
         [noPicture](Peer& peer) {
             peer.ReadHead();
             peer.Write(kGood);
             for (int i = 0; i < 20 && peer.Write(noPicture); ++i) {
             }
             peer.Hold();
         }},
        {"silent behind its first picture", SendAndHold(kGood + part), 1},
        {"hung up behind its first picture", reply(kGood + part), 1},
    };
}

// A guard wants a picture: whatever the camera does, the recorder's takes its place at once, stays through
// everything that begins the stream anew, and through the next start of the program.
TEST_F(DirectCamera, EveryFaultGivesWayToTheRecorderForGood) {
    const kvtest::OwnSettings stored;
    const std::string records = KeyRecords();
    for (const Fault& fault : AllFaults()) {
        SCOPED_TRACE(fault.name);
        std::atomic<bool> bBack{false};
        const std::string part = Part(Jpeg(80, 60, 40));
        ScriptedServer device([&](Peer& peer) {
            if (!bBack) {
                fault.script(peer);
                return;
            }
            peer.ReadHead();
            peer.Write(kGood);
            Repeat(peer, part);
        });
        ScriptedServer recorder(Streams(records), "getstream.cgi");
        const CameraSettings settings =
            SettingsFor(fault.script ? device.Port() : kvtest::UnusedPort(), recorder.Port());
        const int tries = fault.script ? 1 : 0;
        regFolder = fault.name;
        fakeClock.SetSocketRound(kHurried);
        Play(settings, fakeClock);
        const auto shows = [&](int width) {
            const std::uint64_t before = camera->GetStatistics().shown;
            return WaitUntil([&] {
                return camera->Picture().GetBitmapInfo().biWidth == width &&
                       camera->GetStatistics().shown > before + fault.shown;
            });
        };
        ASSERT_TRUE(WaitUntil([&] { return recorder.ConnectionCount() == 1; }));
        fakeClock.SetSocketRound(kAtEase);
        ASSERT_TRUE(shows(64));
        EXPECT_EQ(device.ConnectionCount(), tries);
        EXPECT_EQ(recorder.ConnectionCount(), 1);
        EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Server");
        EXPECT_EQ(camera->Picture().GetMainCaption(), "");

        // Single view, digital zoom, another size, a page that comes back.
        camera->RestartPlaying();
        EXPECT_TRUE(WaitUntil([&] { return recorder.ConnectionCount() == 2; }));
        camera->SetStreamProfiles({{"small", 0, 0}, {"large", 2, 1}});
        camera->SetDigitalZoom(true);
        EXPECT_TRUE(WaitUntil([&] { return recorder.ConnectionCount() == 3; }));
        camera->PausePlaying();
        camera->StartPlaying(PlaySound::No);
        EXPECT_TRUE(shows(64));
        EXPECT_EQ(device.ConnectionCount(), tries);

        // The next run of the program, and one with another camera at that place.
        camera->SaveCameraSettings();
        ASSERT_TRUE(camera->StopCameraThreads(true));
        Play(settings, fakeClock);
        ASSERT_TRUE(shows(64));
        EXPECT_EQ(device.ConnectionCount(), tries);
        if (!fault.script) {
            ASSERT_TRUE(camera->StopCameraThreads(true));
            continue;
        }

        // Behind the recorder's pictures the camera is looked at, at most every ten minutes.
        fakeClock.Advance(std::chrono::minutes(9));
        EXPECT_TRUE(shows(64));
        EXPECT_EQ(device.ConnectionCount(), tries);
        const int streams = recorder.ConnectionCount();
        // Behind a look the next one is waited for.
        const auto looksAhead = [&] {
            const auto waits = fakeClock.Waits();
            return std::count(waits.begin(), waits.end(), Milliseconds(std::chrono::minutes(10)));
        };
        const auto waitsBefore = looksAhead();
        fakeClock.SetSocketRound(kHurried);
        fakeClock.Advance(std::chrono::minutes(1));
        EXPECT_TRUE(WaitUntil([&] { return device.ConnectionCount() == tries + 1; }));
        EXPECT_TRUE(shows(64));
        EXPECT_EQ(recorder.ConnectionCount(), streams) << "the look was not seen";
        EXPECT_TRUE(WaitUntil([&] { return looksAhead() == waitsBefore + 1; }));
        fakeClock.SetSocketRound(kAtEase);
        bBack = true;
        EXPECT_TRUE(shows(64));
        fakeClock.Advance(std::chrono::minutes(10));
        EXPECT_TRUE(shows(80));
        EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Camera");
        ASSERT_TRUE(camera->StopCameraThreads(true));
    }
}

// Bytes without an end, none of which is a picture, are no reason to wait longer.
TEST_F(DirectCamera, ACameraThatDripsGivesWayToo) {
    fakeClock.SetSocketRound(kAtEase);
    const std::string records = KeyRecords();
    const std::string whole = kGood + Part(Jpeg(80, 60, 40));
    for (const std::string& head : {std::string("HTTP/1.0 200 OK\r\n"), whole.substr(0, whole.size() - 40)}) {
        ScriptedServer device([&](Peer& peer) {
            peer.ReadHead();
            peer.Write(head);
            Repeat(peer, "x");
        });
        ScriptedServer recorder(Streams(records), "getstream.cgi");
        Play(SettingsFor(device.Port(), recorder.Port()), fakeClock);
        ASSERT_TRUE(device.WaitForHeads(1));
        fakeClock.Advance(Milliseconds(2900));
        EXPECT_TRUE(camera->IsStreamFromCamera());
        fakeClock.Advance(Milliseconds(100));
        ASSERT_TRUE(Shown(1));
        EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Server");
        EXPECT_EQ(device.ConnectionCount(), 1);
        EXPECT_TRUE(camera->StopCameraThreads(true));
    }
}

// The user's word: it is tried at once, and told if that leads nowhere.
TEST_F(DirectCamera, TheUserMayHaveTheCameraTriedAgain) {
    fakeClock.SetSocketRound(kAtEase);
    const std::string records = KeyRecords();
    std::atomic<bool> bBack{false};
    ScriptedServer device([&, part = Part(Jpeg(80, 60, 40))](Peer& peer) {
        peer.ReadHead();
        if (!bBack) {
            return;
        }
        peer.Write(kGood);
        Repeat(peer, part);
    });
    ScriptedServer recorder(Streams(records), "getstream.cgi");
    const auto view = std::make_shared<kvtest::MessageLog>();
    Play(SettingsFor(device.Port(), recorder.Port()), fakeClock);
    camera->SetViewWnd(WindowHandle(view), nullptr);
    const auto shows = [&](int width) {
        return WaitUntil([&] { return camera->Picture().GetBitmapInfo().biWidth == width; });
    };
    ASSERT_TRUE(shows(64));
    EXPECT_EQ(device.ConnectionCount(), 1);
    camera->SetStreamFrom(kStreamFromCamera);
    EXPECT_TRUE(WaitUntil([&] { return device.ConnectionCount() == 2 && !camera->IsStreamFromCamera(); }));
    EXPECT_TRUE(WaitUntil([&] { return recorder.ConnectionCount() == 2; }));
    const kvtest::Message told{kMsgShowText, 6891, 0};
    EXPECT_TRUE(WaitUntil([&] { return testing::Value(view->All(), testing::Contains(told)); }));

    bBack = true;
    camera->SetStreamFrom(kStreamFromCamera);
    EXPECT_TRUE(shows(80));
    // A camera that went away behind many good pictures is followed by the recorder, too.
    camera->SetStreamFrom(kStreamFromRecorder);
    EXPECT_TRUE(shows(64));
    bBack = false;
    camera->FollowStreamOption();
    EXPECT_EQ(device.ConnectionCount(), 3) << "the channel's word stands";
}

std::string Field(const std::string& head, const std::string& name) {
    const std::size_t at = head.find(" " + name + "=\"");
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t begin = at + name.size() + 3;
    return head.substr(begin, head.find('"', begin) - begin);
}

TEST_F(DirectCamera, LogsInAsTheCameraWantsIt) {
    fakeClock.SetSocketRound(kAtEase);
    ScriptedServer device([part = Part(Jpeg(80, 60, 40))](Peer& peer) {
        const std::string head = peer.ReadHead();
        const std::string secret = MD5String("viewer:A \"door\":pass");
        const std::string what = MD5String("GET:" + Field(head, "uri"));
        const std::string response =
            MD5String(secret + ":n0nce=:00000001:" + Field(head, "cnonce") + ":auth:" + what);
        if (head.find("Authorization: Digest ") == std::string::npos || Field(head, "response") != response ||
            Field(head, "opaque") != "o,p" || head.find("GET " + Field(head, "uri") + " ") != 0) {
            peer.Write(
                "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\n"
                "WWW-Authenticate: Digest realm=\"A \\\"door\\\"\", nonce=\"n\", algorithm=SHA-256, "
                "qop=\"auth\"\r\n"
                "www-authenticate: digest realm=\"A \\\"door\\\"\",qop=\"auth-int, auth\", nonce=\"n0nce=\", "
                "opaque=\"o,p\", algorithm=MD5\r\n\r\n");
            return;
        }
        peer.Write(kGood);
        Repeat(peer, part);
    });
    ScriptedServer recorder([](Peer& peer) { peer.Hold(); }, "getstream.cgi");
    Play(SettingsFor(device.Port(), recorder.Port()), fakeClock);
    ASSERT_TRUE(Shown(2));
    EXPECT_EQ(device.ConnectionCount(), 2);
    EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Camera");
}

TEST(DigestLogin, AnswersAsPublished) {
    // The example of RFC 2617, one of a session, and a challenge of the older form.
    const auto first = AnswerDigestChallenge(
        "Digest realm=\"testrealm@host.com\", qop=\"auth,auth-int\", "
        "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"",
        {"GET", "/dir/index.html", "Mufasa", "Circle Of Life", "0a4f113b"});
    ASSERT_TRUE(first);
    EXPECT_EQ(Field(*first, "response"), "6629fae49393a05397450978507c4ef1");
    EXPECT_EQ(Field(*first, "opaque"), "5ccc069c403ebaf9f0171e9517f40e41");
    const auto second = AnswerDigestChallenge("Digest realm=\"r\", nonce=\"n\", qop=auth, algorithm=MD5-sess",
                                              {"GET", "/", "u", "p", "c"});
    ASSERT_TRUE(second);
    EXPECT_EQ(Field(*second, "response"),
              MD5String(MD5String(MD5String("u:r:p") + ":n:c") + ":n:00000001:c:auth:" + MD5String("GET:/")));
    const auto third = AnswerDigestChallenge("digest nonce=abc, realm=\"r\"", {"GET", "/", "u", "p", "c"});
    ASSERT_TRUE(third);
    EXPECT_EQ(Field(*third, "response"), MD5String(MD5String("u:r:p") + ":abc:" + MD5String("GET:/")));
    EXPECT_EQ(third->find("qop"), std::string::npos);

    for (const char* const other :
         {"", "Digest", "Digest ", "Basic realm=\"x\"", "Digestive nonce=\"n\"", "Digest realm=\"x\"",
          "Digest nonce=\"n\", algorithm=SHA-256", "Digest nonce=\"n\", qop=\"auth-int\"", "Digest nonce=\"",
          "Digest =,=,=\"\\"}) {
        EXPECT_FALSE(AnswerDigestChallenge(other, {"GET", "/", "u", "p", "c"})) << other;
    }
}

TEST(NetworkSetting, SwitchesOnlyWhileNothingWasShown) {
    CameraSettings settings;
    settings.m_dwVendorId = 0;
    settings.m_lpszVideoURL = "/v";
    settings.m_bMonitorRight = 1;
    settings.m_NetworkSetting[0].szAddress = "10.0.0.1";
    settings.m_NetworkSetting[0].nPort = 80;
    ChannelCore core(SystemClock(), KindFor(settings));
    core.m_source.Assign(settings);
    const auto caption = [&] { return core.m_picture.GetMainCaption(); };
    core.SwitchNetworkSetting();
    EXPECT_EQ(core.m_source.m_nNetworkSettingIdx, 2u) << "there is no other way";
    settings.m_NetworkSetting[1].szAddress = "10.0.0.2";
    settings.m_NetworkSetting[1].nPort = 81;
    core.m_source.Assign(settings);
    core.SwitchNetworkSetting();
    TargetSettings target;
    EXPECT_TRUE(core.m_source.GetTargetSettings(target));
    EXPECT_EQ(target.szAddress.View(), "10.0.0.2");
    EXPECT_EQ(target.nPort, 81u);
    EXPECT_EQ(core.m_CamCmdQueue.GetCount(), 1u) << "what the camera can do is read anew";
    core.SwitchNetworkSetting();
    EXPECT_EQ(caption(), "");
    core.SwitchNetworkSetting();
    EXPECT_EQ(caption(), "Disconnected") << "after four switches the user hears of it";
    EXPECT_EQ(core.m_source.m_nNetworkSettingIdx, 5u);
    core.m_bStreamRunning = true;
    core.SwitchNetworkSetting();
    EXPECT_EQ(core.m_source.m_nNetworkSettingIdx, 5u);
    // Commands go to the recorder all the same.
    settings.m_lpszSvrIP = "10.0.0.9";
    core.m_source.Assign(settings);
    EXPECT_TRUE(core.m_source.GetKelvaraSettings(target));
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
        ScriptedServer recorder([](Peer& peer) { peer.Hold(); }, "getstream.cgi");
        Play(Alone(SettingsFor(device.Port(), recorder.Port())), selfMoving);
        EXPECT_TRUE(device.WaitForHeads(3)) << reply;
        recovers = true;
        EXPECT_TRUE(Shown(1)) << reply;
        EXPECT_TRUE(camera->StopCameraThreads(true));

        ScriptedServer stalled(SendAndHold(reply));
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
    EXPECT_TRUE(camera->StopCameraThreads(true));

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
