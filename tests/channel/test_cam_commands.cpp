// A channel's commands against a scripted recorder.
#include <gmock/gmock.h>

#include <map>

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/cell/video_wnd.h"
#include "channel/command/ptz_request.h"
#include "channel/source/target_settings.h"
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
using testing::ElementsAre;
using testing::HasSubstr;

TargetSettings Target() {
    TargetSettings settings;
    settings.nCh = 3;
    settings.nPort = 8080;
    settings.szAddress = "10.1.2.3";
    settings.szBase64Auth = "QUJD";
    return settings;
}

TEST(PtzRequestTest, AsksByTheLetter) {
    const std::string tail =
        " HTTP/1.0\r\nAccept: */*\r\nHost: 10.1.2.3:8080\r\nAuthorization: Basic QUJD\r\n\r\n";
    const std::map<std::uint32_t, std::string> plain = {{1800, "13"}, {1801, "0"},  {1802, "1"}, {1803, "2"},
                                                        {1804, "3"},  {1805, "4"},  {1806, "5"}, {1807, "6"},
                                                        {1808, "7"},  {1809, "8"},  {1810, "9"}, {1841, "11"},
                                                        {1842, "10"}, {6005, "17"}, {6006, "18"}};
    for (const auto& [command, wire] : plain) {
        EXPECT_EQ(BuildPtzRequest(command, 0, Target()), "GET /cgi-bin/ptz.cgi?ch=3&command=" + wire + tail);
    }
    EXPECT_EQ(BuildPtzRequest(1811, 0, Target()), "GET /cgi-bin/ptz.cgi?ch=3&command=12&arg=0" + tail);
    EXPECT_EQ(BuildPtzRequest(1820, 0, Target()), "GET /cgi-bin/ptz.cgi?ch=3&command=12&arg=9" + tail);
    EXPECT_EQ(BuildPtzRequest(1981, (320u << 16) | 239, Target()),
              "GET /cgi-bin/ptz.cgi?ch=3&command=14&arg=320%20239" + tail);
    EXPECT_EQ(BuildAudioQuery(Target()),
              "GET /cgi-bin/param.cgi?action=list&group=Recording.MediaProperty&channel_id=3" + tail);
    const std::string monitor =
        " HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: 10.1.2.3\r\nConnection: Keep-Alive\r\n"
        "Authorization: Basic QUJD\r\n\r\n";
    EXPECT_EQ(BuildManualRecording(true, Target()), "GET /cgi-bin/mrec.cgi?ch=3&act=1" + monitor);
    EXPECT_EQ(BuildPresetCommand(21, "004xx", Target()),
              "GET /cgi-bin/ptz.cgi?command=21&ch=3&arg=004xx" + monitor);
    for (const std::uint32_t unknown : {0u, 1757u, 1821u, 1840u, 1843u, 1983u}) {
        EXPECT_FALSE(BuildPtzRequest(unknown, 0, Target())) << unknown;
    }
}

TEST(PtzRequestTest, PresetArgumentStopsAtTheFirstForeignByte) {
    EXPECT_EQ(FormatPresetArgument(7, "Gate", false), "007xx");
    EXPECT_EQ(FormatPresetArgument(7, "Gate", true), "0070447617465");
    EXPECT_EQ(FormatPresetArgument(2, "T\xC3\xBCr", true), "0020354");
    EXPECT_FALSE(FormatPresetArgument(2, "", true));
    EXPECT_FALSE(FormatPresetArgument(2, std::string(128, 'a'), true));
    EXPECT_EQ(FormatPresetArgument(2, std::string(127, 'a'), true)->size(), 3u + 3u + 2 * 127);
}

TEST(PtzReplyTest, ReadsCapabilitiesAndPresets) {
    CameraInfo info;
    bool presets = false;
    ASSERT_TRUE(ParseCapabilities("118\r\n", info, presets));
    EXPECT_TRUE(!info.bPan && info.bTilt && info.IsPanAndTiltable() && info.bZoomable && !info.bFocusable);
    EXPECT_TRUE(presets && info.bHome && info.bClickToCentre && !info.bFurther);
    EXPECT_FALSE(ParseCapabilities("-1", info, presets));
    EXPECT_FALSE(ParseCapabilities("", info, presets));

    CameraInfo named;
    ASSERT_TRUE(ParsePresetTable("004044761746503412642--0161", named));
    EXPECT_EQ(named.dwPresetMask, 0b1011u);
    EXPECT_EQ(named.presetNames[0], "Gate");
    EXPECT_EQ(named.presetNames[1], "A&&B") << "as a menu shows it";
    EXPECT_EQ(named.presetNames[2], "");
    EXPECT_EQ(named.presetNames[3], "a");

    CameraInfo unnamed;
    ASSERT_TRUE(ParsePresetTable("002xx", unnamed));
    EXPECT_EQ(unnamed.dwPresetMask, 3u);
    EXPECT_EQ(unnamed.presetNames[1], "Preset 2");

    // Whatever comes: at most ten, and no reading beyond the end.
    const std::string whole = "99904476174650141--0142";
    for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
        CameraInfo some;
        ParsePresetTable(whole.substr(0, cut), some);
        EXPECT_LT(some.dwPresetMask, 1u << 10);
    }
    CameraInfo many;
    ASSERT_TRUE(ParsePresetTable("999xx", many));
    EXPECT_EQ(many.dwPresetMask, 0x3FFu);

    PresetFormat format;
    ASSERT_TRUE(ParsePresetFormat("01011", format));
    EXPECT_TRUE(format.nPresetCount == 10 && format.bNamesSupported == 1 && format.nPresetMode == 1);
    ASSERT_TRUE(ParsePresetFormat("000", format));
    EXPECT_TRUE(format.nPresetCount == 0 && format.bNamesSupported == 0 && format.nPresetMode == 2);
}

class CamCommandTest : public testing::Test {
protected:
    // A camera that can do nothing, and obeys all the same.
    CamCommandTest() { recorder_.SetDocument("", HttpReply(200, "OK", "0")); }
    void Make(Clock& clock) {
        camera_ = kvtest::MakeCamera(kvtest::SettingsOf(3, recorder_.Port()), clock);
        camera_->SetVideoWnd(WindowHandle(cell_));
    }
    void Start(Clock& clock) {
        Make(clock);
        camera_->StartCameraThreads();
    }
    // Starts, and waits until the first reading has ended.
    void StartRead(Clock& clock) {
        Start(clock);
        ASSERT_TRUE(cell_->WaitFor(1));
    }
    // The message that a command brings.
    Message Run(std::uint32_t command, std::uint32_t argument = 0) {
        const std::size_t before = cell_->All().size();
        camera_->AddCamCmd(command, argument);
        return cell_->WaitFor(before + 1) ? cell_->All()[before] : Message{};
    }

    kvtest::FakeRecorder recorder_;
    std::shared_ptr<kvtest::MessageLog> cell_ = std::make_shared<kvtest::MessageLog>();
    kvtest::FakeClock clock_{true};
    std::shared_ptr<CBaseCamera> camera_;
};

TEST_F(CamCommandTest, OutcomesOfACommand) {
    StartRead(clock_);
    recorder_.SetDocument("command=0 ", HttpReply(200, "OK", "done"));
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 0}));
    recorder_.SetDocument("command=0 ", "HTTP/1.0 204 No Content\r\n\r\n");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 0}));
    recorder_.SetDocument("command=0 ", "HTTP/1.0 200 OK\r\n");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 8})) << "nothing behind the status line";
    recorder_.SetDocument("command=0 ", HttpReply(200, "OK", ""));
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 8})) << "a head alone is no answer";
    recorder_.SetDocument("command=0 ", "HTTP/1.0 200 OK\r\nServer: x\r\nContent-Length: 2\r\n\r\nOK");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 0}));
    recorder_.SetDocument("command=0 ", "HTTP/1.0 200 OK\r\nOK");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 0})) << "an answer without a head";
    recorder_.SetDocument("command=0 ", HttpReply(500, "Sorry", ""));
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 2, 0}));
    recorder_.SetDocument("command=0 ", "");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 5, 0}));
    recorder_.SetDocument("command=0 ", "garbage without an end");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 5, 0}));
    camera_->AddCamCenterCmd(320, 240);
    ASSERT_TRUE(recorder_.Server().WaitForHeads(12));
    EXPECT_THAT(recorder_.Server().Heads(), Contains(HasSubstr("command=14&arg=320%20240 ")));
}

TEST_F(CamCommandTest, AnUnknownCommandIsDroppedWithoutAWord) {
    StartRead(clock_);
    const std::size_t heads = recorder_.Server().Heads().size();
    camera_->AddCamCmd(1983, 0);
    EXPECT_EQ(Run(kCmdUp).number, kMsgEndStop);
    EXPECT_EQ(recorder_.Server().Heads().size(), heads + 1);
}

TEST_F(CamCommandTest, AChangeOfWhatTheCameraCanIsReadTwice) {
    recorder_.SetDocument("command=16 ", HttpReply(200, "OK", "31"));
    recorder_.SetDocument("command=15 ", HttpReply(200, "OK", "002xx"));
    recorder_.SetDocument("param.cgi", HttpReply(200, "OK", "<x>\r\n<audio_enabled>0</audio_enabled>\r\n"));
    StartRead(clock_);
    EXPECT_EQ(cell_->All()[0], (Message{kMsgCaptionRefresh, 6, 0}));
    EXPECT_EQ(recorder_.CountHeads("command=16 "), 2);
    EXPECT_TRUE(camera_->IsCameraInfoLoaded());
    EXPECT_TRUE(camera_->IsSupportAudio()) << "the tag counts, not its value";
    EXPECT_EQ(camera_->GetCameraInfo().dwPresetMask, 3u);
    EXPECT_EQ(Run(kCmdReadCameraInfo), (Message{kMsgCaptionRefresh, 7, 0}));
    EXPECT_EQ(recorder_.CountHeads("command=16 "), 3);
}

TEST_F(CamCommandTest, FiveFailedRoundsLeaveEverything) {
    recorder_.SetDocument("command=16 ", HttpReply(404, "Not Found", ""));
    StartRead(clock_);
    EXPECT_EQ(cell_->All()[0], (Message{kMsgCaptionRefresh, 9, 404}));
    EXPECT_EQ(recorder_.CountHeads("command=16 "), 5);
    EXPECT_FALSE(camera_->IsCameraInfoLoaded());
}

TEST_F(CamCommandTest, AGatewayTimeoutIsRetriedWithoutLimitAndAStopEndsIt) {
    recorder_.SetDocument("command=16 ", HttpReply(504, "Gateway Timeout", ""));
    Start(clock_);
    EXPECT_TRUE(WaitUntil([&] { return recorder_.CountHeads("command=16 ") > 12; }));
    EXPECT_TRUE(camera_->StopCameraThreads(true));
    EXPECT_EQ(Worker::AbandonedCount(), 0);
}

// A camera that cannot be asked may well obey: its commands and a recording go out between two tries.
TEST_F(CamCommandTest, CommandsGoOutWhileTheAbilitiesCannotBeRead) {
    const auto obeys = [this] {
        const int asked = recorder_.CountHeads("command=16 ");
        EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 0}));
        EXPECT_EQ(Run(kCmdManualRecording, 1), (Message{kMsgManualRecording, 7, 0}));
        EXPECT_EQ(Run(kCmdPresetFirst + 1), (Message{kMsgEndStop, 3, 0}));
        EXPECT_TRUE(WaitUntil([&] { return recorder_.CountHeads("command=16 ") > asked + 1; })) << "goes on";
    };
    recorder_.SetDocument("mrec.cgi?ch=3&act=1 ", "HTTP/1.0 200 OK\r\na\r\nb\r\nc\r\nOK\r\n");
    recorder_.SetDocument("command=16 ", HttpReply(504, "Gateway Timeout", ""));
    Start(clock_);
    ASSERT_TRUE(WaitUntil([&] { return recorder_.CountHeads("command=16 ") > 1; }));
    obeys();
    recorder_.SetDocument("command=16 ", HttpReply(200, "OK", "3"));
    recorder_.SetDocument("param.cgi", HttpReply(500, "Oops", ""));
    ASSERT_TRUE(WaitUntil([&] { return recorder_.CountHeads("param.cgi") > 1; }));
    obeys();
    EXPECT_FALSE(camera_->IsCameraInfoLoaded());
    EXPECT_TRUE(camera_->StopCameraThreads(true));
}

// The preset that another station has stored is there when the channel comes into a cell, and the recorder is
// not asked at each change of the page.
TEST_F(CamCommandTest, AnAttachedChannelIsReadAgainOnceAMinute) {
    recorder_.SetDocument("command=16 ", HttpReply(200, "OK", "16"));
    recorder_.SetDocument("command=15 ", HttpReply(200, "OK", "00103416264"));
    StartRead(clock_);
    EXPECT_EQ(recorder_.CountHeads("command=16 "), 2);
    recorder_.SetDocument("command=15 ", HttpReply(200, "OK", "00203416264044761746F"));
    CVideoWnd first;
    CVideoWnd second;
    first.SetCamera(camera_);
    second.SetCamera(camera_);
    camera_->SetVideoWnd(WindowHandle(cell_));
    EXPECT_EQ(Run(kCmdUp).number, kMsgEndStop);
    EXPECT_EQ(recorder_.CountHeads("command=16 "), 2) << "within the minute";
    clock_.Advance(Milliseconds(60000));
    first.SetCamera(camera_);
    second.SetCamera(camera_);
    ASSERT_TRUE(WaitUntil([&] { return camera_->GetCameraInfo().dwPresetMask == 3; }));
    EXPECT_EQ(camera_->GetCameraInfo().presetNames[1], "Gato");
    camera_->SetVideoWnd(WindowHandle(cell_));
    EXPECT_EQ(Run(kCmdUp).number, kMsgEndStop);
    EXPECT_EQ(recorder_.CountHeads("command=16 "), 4) << "once, and a change is read twice";
}

TEST_F(CamCommandTest, ASilentCameraHoldsBackCommandsButNotAStop) {
    recorder_.On("command=", [](kvtest::Peer& peer) { peer.Hold(); });
    Start(SystemClock());
    ASSERT_TRUE(recorder_.Server().WaitForHeads(1));
    for (std::uint32_t i = 0; i < 11; ++i) {
        camera_->AddCamCmd(kCmdPresetFirst + i % 10, 0);
    }
    const std::uint64_t start = SystemClock().TickMs();
    EXPECT_TRUE(camera_->StopCameraThreads(true));
    EXPECT_LT(SystemClock().TickMs() - start, 2500u);
    EXPECT_EQ(Worker::AbandonedCount(), 0);
}

TEST_F(CamCommandTest, OfElevenPressesTheTenNewestAreSent) {
    Make(clock_);
    for (std::uint32_t i = 0; i < 11; ++i) {
        camera_->AddCamCmd(kCmdUp + i, 0);  // moves, zooms and at last a preset
    }
    camera_->StartCameraThreads();
    ASSERT_TRUE(cell_->WaitFor(10));
    std::vector<std::string> asked;
    for (const std::string& head : recorder_.Server().Heads()) {
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
    recorder_.SetDocument("command=20 ", HttpReply(200, "OK", "01011"));
    recorder_.SetDocument("command=16 ", HttpReply(200, "OK", "16"));
    recorder_.SetDocument("command=15 ", HttpReply(200, "OK", "00103416264"));
    StartRead(clock_);
    camera_->ReadPresetFormat();
    ASSERT_TRUE(cell_->WaitFor(2));
    EXPECT_EQ(cell_->All()[1], (Message{kMsgCaptionRefresh, 6, 0}));
    EXPECT_EQ(Run(kCmdReadCameraInfo), (Message{kMsgCaptionRefresh, 7, 0}));
    camera_->AddPresetNameCmd(0, "B & C");
    ASSERT_TRUE(cell_->WaitFor(4));
    camera_->AddPresetIndexCmd(0);
    ASSERT_TRUE(cell_->WaitFor(5));
    EXPECT_THAT(recorder_.Server().Heads(), Contains(HasSubstr("command=21&ch=3&arg=000054220262043 ")));
    EXPECT_THAT(recorder_.Server().Heads(), Contains(HasSubstr("command=22&ch=3&arg=00003416264 ")));
    recorder_.SetDocument("command=20 ", HttpReply(500, "Sorry", ""));
    camera_->ReadPresetFormat();
    ASSERT_TRUE(cell_->WaitFor(6));
    EXPECT_EQ(camera_->GetPresetFormat().bNamesSupported, 1) << "a failure leaves what was known";
}

TEST_F(CamCommandTest, ManualRecordingByTheFourthLine) {
    StartRead(clock_);
    recorder_.SetDocument("mrec.cgi?ch=3&act=1 ", "HTTP/1.0 200 OK\r\na\r\nb\r\nc\r\nOK\r\n");
    EXPECT_EQ(Run(kCmdManualRecording, 1), (Message{kMsgManualRecording, 7, 0}));
    recorder_.SetDocument("mrec.cgi?ch=3&act=0 ", "HTTP/1.0 200 OK\r\na\r\nb\r\nc\r\nERROR\r\n");
    EXPECT_EQ(Run(kCmdManualRecording, 0), (Message{kMsgManualRecording, 6, 0}));
    recorder_.SetDocument("mrec.cgi?ch=3&act=0 ", HttpReply(403, "Forbidden", ""));
    EXPECT_EQ(Run(kCmdManualRecording, 0), (Message{kMsgManualRecording, 4, 403}));
}

TEST_F(CamCommandTest, PresetCommandsEndWithTheirTimer) {
    StartRead(clock_);
    camera_->AddPresetNameCmd(4, "Gate");
    ASSERT_TRUE(cell_->WaitFor(2));
    EXPECT_EQ(cell_->All()[1], (Message{WM_TIMER, 87, 0}));
    EXPECT_EQ(Run(kCmdPresetIndex, 9), (Message{WM_TIMER, 86, 0}));
    EXPECT_THAT(recorder_.Server().Heads(), Contains(HasSubstr("ptz.cgi?command=21&ch=3&arg=004xx ")));
    EXPECT_THAT(recorder_.Server().Heads(), Contains(HasSubstr("ptz.cgi?command=22&ch=3&arg=009xx ")));
    const std::size_t heads = recorder_.Server().Heads().size();
    camera_->AddCamCmd(kCmdPresetIndex, 10);
    EXPECT_EQ(Run(kCmdUp).number, kMsgEndStop);
    EXPECT_EQ(recorder_.Server().Heads().size(), heads + 1) << "there is no eleventh preset";
}

}  // namespace
}  // namespace kvmon
