// A camera that fails gives way: its other way first, and then the recorder.
#include <gmock/gmock.h>

#include "channel/base/channel_messages.h"
#include "direct_camera.h"
#include "persist/orvo_registry.h"
#include "support/message_log.h"
#include "support/own_settings.h"

namespace kvmon {
namespace {

using kvtest::DirectCamera;
using kvtest::HttpReply;
using kvtest::Jpeg;
using kvtest::kAtEase;
using kvtest::KeyRecords;
using kvtest::kGood;
using kvtest::kHurried;
using kvtest::Part;
using kvtest::Peer;
using kvtest::Repeat;
using kvtest::ScriptedServer;
using kvtest::SendAndHold;
using kvtest::Streams;
using kvtest::WaitUntil;

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
        ASSERT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));

        // The next run begins with the way that led somewhere.
        Play(settings, fakeClock);
        EXPECT_TRUE(Shown(2));
        EXPECT_EQ(none.ConnectionCount(), refused ? 0 : 1);
        EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
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

        // The next run of the program.
        camera->SaveCameraSettings();
        ASSERT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
        Play(settings, fakeClock);
        ASSERT_TRUE(shows(64));
        EXPECT_EQ(device.ConnectionCount(), tries);
        if (!fault.script) {
            ASSERT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
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
        ASSERT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
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
        EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
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

}  // namespace
}  // namespace kvmon
