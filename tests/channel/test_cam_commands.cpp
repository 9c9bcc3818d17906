// A channel's commands in their turn, against a scripted recorder.
#include <gmock/gmock.h>

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/cell/video_wnd.h"
#include "support/camera_maker.h"
#include "support/fake_clock.h"
#include "support/fake_recorder.h"
#include "support/message_log.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using kvtest::HttpReply;
using kvtest::Message;
using kvtest::WaitUntil;
using testing::Contains;
using testing::HasSubstr;

class CamCommandTest : public testing::Test {
protected:
    // A camera that can do nothing, and obeys all the same.
    CamCommandTest() { recorder.SetDocument("", HttpReply(200, "OK", "0")); }
    void Make(Clock& theClock) {
        camera = kvtest::MakeCamera(kvtest::SettingsOf(3, recorder.Port()), theClock);
        camera->SetVideoWnd(WindowHandle(cell));
    }
    void Start(Clock& theClock) {
        Make(theClock);
        camera->StartCameraThreads();
    }
    // Starts, and waits until the first reading has ended.
    void StartRead(Clock& theClock) {
        Start(theClock);
        ASSERT_TRUE(cell->WaitFor(1));
    }
    // The message that a command brings.
    Message Run(std::uint32_t command, std::uint32_t argument = 0) {
        const std::size_t before = cell->All().size();
        camera->AddCamCmd(command, argument);
        return cell->WaitFor(before + 1) ? cell->All()[before] : Message{};
    }

    kvtest::FakeRecorder recorder;
    std::shared_ptr<kvtest::MessageLog> cell = std::make_shared<kvtest::MessageLog>();
    kvtest::FakeClock clock{true};
    std::shared_ptr<CBaseCamera> camera;
};

TEST_F(CamCommandTest, AGatewayTimeoutIsRetriedWithoutLimitAndAStopEndsIt) {
    recorder.SetDocument("command=16 ", HttpReply(504, "Gateway Timeout", ""));
    Start(clock);
    EXPECT_TRUE(WaitUntil([&] { return recorder.CountHeads("command=16 ") > 12; }));
    EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
    EXPECT_EQ(Worker::AbandonedCount(), 0);
}

// A camera that cannot be asked may well obey: its commands and a recording go out between two tries.
TEST_F(CamCommandTest, CommandsGoOutWhileTheAbilitiesCannotBeRead) {
    const auto obeys = [this] {
        const int asked = recorder.CountHeads("command=16 ");
        EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 0}));
        EXPECT_EQ(Run(kCmdManualRecording, 1), (Message{kMsgManualRecording, 7, 0}));
        EXPECT_EQ(Run(kCmdPresetFirst + 1), (Message{kMsgEndStop, 3, 0}));
        EXPECT_TRUE(WaitUntil([&] { return recorder.CountHeads("command=16 ") > asked + 1; })) << "goes on";
    };
    recorder.SetDocument("mrec.cgi?ch=3&act=1 ", "HTTP/1.0 200 OK\r\na\r\nb\r\nc\r\nOK\r\n");
    recorder.SetDocument("command=16 ", HttpReply(504, "Gateway Timeout", ""));
    Start(clock);
    ASSERT_TRUE(WaitUntil([&] { return recorder.CountHeads("command=16 ") > 1; }));
    obeys();
    recorder.SetDocument("command=16 ", HttpReply(200, "OK", "3"));
    recorder.SetDocument("param.cgi", HttpReply(500, "Oops", ""));
    ASSERT_TRUE(WaitUntil([&] { return recorder.CountHeads("param.cgi") > 1; }));
    obeys();
    EXPECT_FALSE(camera->IsCameraInfoLoaded());
    EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
}

// The preset that another station has stored is there when the channel comes into a cell, and the recorder is
// not asked at each change of the page.
TEST_F(CamCommandTest, AnAttachedChannelIsReadAgainOnceAMinute) {
    recorder.SetDocument("command=16 ", HttpReply(200, "OK", "16"));
    recorder.SetDocument("command=15 ", HttpReply(200, "OK", "00103416264"));
    StartRead(clock);
    EXPECT_EQ(recorder.CountHeads("command=16 "), 2);
    recorder.SetDocument("command=15 ", HttpReply(200, "OK", "00203416264044761746F"));
    CVideoWnd first;
    CVideoWnd second;
    first.SetCamera(camera);
    second.SetCamera(camera);
    camera->SetVideoWnd(WindowHandle(cell));
    EXPECT_EQ(Run(kCmdUp).number, kMsgEndStop);
    EXPECT_EQ(recorder.CountHeads("command=16 "), 2) << "within the minute";
    clock.Advance(Milliseconds(60000));
    first.SetCamera(camera);
    second.SetCamera(camera);
    ASSERT_TRUE(WaitUntil([&] { return camera->GetCameraInfo().dwPresetMask == 3; }));
    EXPECT_EQ(camera->GetCameraInfo().presetNames[1], "Gato");
    camera->SetVideoWnd(WindowHandle(cell));
    EXPECT_EQ(Run(kCmdUp).number, kMsgEndStop);
    EXPECT_EQ(recorder.CountHeads("command=16 "), 4) << "once, and a change is read twice";
}

// A channel comes into its cells while it is read for the first time: that reading will do.
TEST_F(CamCommandTest, TheFirstReadingServesTheCellsThatTheChannelComesInto) {
    recorder.SetDocument("command=16 ", HttpReply(200, "OK", "16"));
    recorder.SetDocument("command=15 ", HttpReply(200, "OK", "002xx"));
    Make(clock);
    CVideoWnd first;
    CVideoWnd second;
    first.SetCamera(camera);
    camera->StartCameraThreads();
    second.SetCamera(camera);
    ASSERT_TRUE(WaitUntil([&] { return camera->IsCameraInfoLoaded(); }));
    camera->AddCamCmd(kCmdUp, 0);
    ASSERT_TRUE(WaitUntil([&] { return recorder.CountHeads("command=0 ") == 1; })) << "behind what waits";
    EXPECT_EQ(recorder.CountHeads("command=16 "), 2);
}

// One that failed is tried again when the channel comes into a cell, and once will do for that, too.
TEST_F(CamCommandTest, AReadingThatFailedIsAskedForOnceMore) {
    recorder.SetDocument("command=16 ", HttpReply(404, "Not Found", ""));
    StartRead(clock);
    EXPECT_EQ(recorder.CountHeads("command=16 "), 5);
    recorder.SetDocument("command=16 ", HttpReply(200, "OK", "3"));
    CVideoWnd first;
    CVideoWnd second;
    first.SetCamera(camera);
    second.SetCamera(camera);
    ASSERT_TRUE(WaitUntil([&] { return camera->IsCameraInfoLoaded(); }));
    camera->AddCamCmd(kCmdUp, 0);
    ASSERT_TRUE(WaitUntil([&] { return recorder.CountHeads("command=0 ") == 1; }));
    EXPECT_EQ(recorder.CountHeads("command=16 "), 7);
}

TEST_F(CamCommandTest, ASilentCameraHoldsBackCommandsButNotAStop) {
    recorder.On("command=", [](kvtest::Peer& peer) { peer.Hold(); });
    Start(SystemClock());
    ASSERT_TRUE(recorder.Server().WaitForHeads(1));
    for (std::uint32_t i = 0; i < 11; ++i) {
        camera->AddCamCmd(kCmdPresetFirst + i % 10, 0);
    }
    const std::uint64_t start = SystemClock().TickMs();
    EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
    EXPECT_LT(SystemClock().TickMs() - start, 2500u);
    EXPECT_EQ(Worker::AbandonedCount(), 0);
}

TEST_F(CamCommandTest, OfElevenPressesTheTenNewestAreSent) {
    Make(clock);
    for (std::uint32_t i = 0; i < 11; ++i) {
        camera->AddCamCmd(kCmdUp + i, 0);  // moves, zooms and at last a preset
    }
    camera->StartCameraThreads();
    ASSERT_TRUE(cell->WaitFor(10));
    std::vector<std::string> asked;
    for (const std::string& head : recorder.Server().Heads()) {
        asked.push_back(head.substr(0, head.find(" HTTP")));
    }
    std::vector<std::string> expected;
    for (int wire = 1; wire <= 9; ++wire) {
        expected.push_back("GET /cgi-bin/ptz.cgi?ch=3&command=" + std::to_string(wire));
    }
    expected.push_back("GET /cgi-bin/ptz.cgi?ch=3&command=12&arg=0");
    EXPECT_EQ(asked, expected);
}

// Names go out only to a recorder that said that it takes them, and a reading of the camera does not undo
// that.
TEST_F(CamCommandTest, NamesOfPresetsFollowTheRecordersFormat) {
    recorder.SetDocument("command=20 ", HttpReply(200, "OK", "01011"));
    recorder.SetDocument("command=16 ", HttpReply(200, "OK", "16"));
    recorder.SetDocument("command=15 ", HttpReply(200, "OK", "00103416264"));
    StartRead(clock);
    camera->ReadPresetFormat();
    ASSERT_TRUE(cell->WaitFor(2));
    EXPECT_EQ(cell->All()[1], (Message{kMsgCaptionRefresh, 6, 0}));
    EXPECT_EQ(Run(kCmdReadCameraInfo), (Message{kMsgCaptionRefresh, 7, 0}));
    camera->AddPresetNameCmd(0, "B & C");
    ASSERT_TRUE(cell->WaitFor(4));
    camera->AddPresetIndexCmd(0);
    ASSERT_TRUE(cell->WaitFor(5));
    EXPECT_THAT(recorder.Server().Heads(), Contains(HasSubstr("command=21&ch=3&arg=000054220262043 ")));
    EXPECT_THAT(recorder.Server().Heads(), Contains(HasSubstr("command=22&ch=3&arg=00003416264 ")));
    recorder.SetDocument("command=20 ", HttpReply(500, "Sorry", ""));
    camera->ReadPresetFormat();
    ASSERT_TRUE(cell->WaitFor(6));
    EXPECT_EQ(camera->GetPresetFormat().bNamesSupported, 1) << "a failure leaves what was known";
}

}  // namespace
}  // namespace kvmon
