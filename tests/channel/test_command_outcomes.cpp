// What goes out for a command, and what is told of its end.
#include <gmock/gmock.h>

#include <map>

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/base/channel_thread.h"
#include "channel/base/channel_windows.h"
#include "channel/command/abilities.h"
#include "channel/command/cam_command.h"
#include "channel/command/ptz_request.h"
#include "channel/source/stream_source.h"
#include "channel/stream/recorder_kind.h"
#include "support/camera_maker.h"
#include "support/fake_clock.h"
#include "support/fake_recorder.h"
#include "support/message_log.h"

namespace kvmon {
namespace {

using kvtest::HttpReply;
using kvtest::Message;
using testing::Contains;
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

// The command thread's work, done by the test.
class Command : public testing::Test {
protected:
    // A camera that can do nothing, and obeys all the same.
    Command() {
        recorder.SetDocument("", HttpReply(200, "OK", "0"));
        source.Assign(kvtest::SettingsOf(3, recorder.Port()));
        windows.SetVideoWnd(WindowHandle(cell));
    }
    // The message that a command brings; none is an empty one.
    Message Run(std::uint32_t command, std::uint32_t argument = 0) {
        const std::size_t before = cell->All().size();
        ExecuteCamCmd({queue, source, abilities, windows, clock, control}, {command, argument});
        const auto all = cell->All();
        EXPECT_LE(all.size(), before + 1);
        return all.size() > before ? all[before] : Message{};
    }

    kvtest::FakeRecorder recorder;
    const std::shared_ptr<kvtest::MessageLog> cell = std::make_shared<kvtest::MessageLog>();
    kvtest::FakeClock clock{true};
    StreamSource source{clock, BaseKind()};
    SoundSwitches sound;
    Abilities abilities{sound};
    ChannelWindows windows;
    CamCmdQueue queue;
    ThreadControl control;
};

TEST_F(Command, OutcomesOfACommand) {
    recorder.SetDocument("command=0 ", HttpReply(200, "OK", "done"));
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 0}));
    recorder.SetDocument("command=0 ", "HTTP/1.0 204 No Content\r\n\r\n");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 0}));
    recorder.SetDocument("command=0 ", "HTTP/1.0 200 OK\r\n");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 8})) << "nothing behind the status line";
    recorder.SetDocument("command=0 ", HttpReply(200, "OK", ""));
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 8})) << "a head alone is no answer";
    recorder.SetDocument("command=0 ", "HTTP/1.0 200 OK\r\nServer: x\r\nContent-Length: 2\r\n\r\nOK");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 0}));
    recorder.SetDocument("command=0 ", "HTTP/1.0 200 OK\r\nOK");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 3, 0})) << "an answer without a head";
    recorder.SetDocument("command=0 ", HttpReply(500, "Sorry", ""));
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 2, 0}));
    recorder.SetDocument("command=0 ", "");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 5, 0}));
    recorder.SetDocument("command=0 ", "garbage without an end");
    EXPECT_EQ(Run(kCmdUp), (Message{kMsgEndStop, 5, 0}));
    Run(kCmdClickToCentre, (320u << 16) | 240);
    EXPECT_THAT(recorder.Server().Heads(), Contains(HasSubstr("command=14&arg=320%20240 ")));
}

TEST_F(Command, AnUnknownCommandIsDroppedWithoutAWord) {
    EXPECT_EQ(Run(kCmdReadPresets), Message{});
    EXPECT_TRUE(recorder.Server().Heads().empty());
}

TEST_F(Command, AChangeOfWhatTheCameraCanIsReadTwice) {
    recorder.SetDocument("command=16 ", HttpReply(200, "OK", "31"));
    recorder.SetDocument("command=15 ", HttpReply(200, "OK", "002xx"));
    recorder.SetDocument("param.cgi", HttpReply(200, "OK", "<x>\r\n<audio_enabled>0</audio_enabled>\r\n"));
    EXPECT_EQ(Run(kCmdReadCameraInfo), (Message{kMsgCaptionRefresh, 6, 0}));
    EXPECT_EQ(recorder.CountHeads("command=16 "), 2);
    EXPECT_TRUE(abilities.IsLoaded());
    EXPECT_TRUE(sound.m_bSupportAudio) << "the tag counts, not its value";
    EXPECT_EQ(abilities.GetCameraInfo().dwPresetMask, 3u);
    EXPECT_EQ(Run(kCmdReadCameraInfo), (Message{kMsgCaptionRefresh, 7, 0}));
    EXPECT_EQ(recorder.CountHeads("command=16 "), 3);
}

TEST_F(Command, FiveFailedRoundsLeaveEverything) {
    recorder.SetDocument("command=16 ", HttpReply(404, "Not Found", ""));
    EXPECT_EQ(Run(kCmdReadCameraInfo), (Message{kMsgCaptionRefresh, 9, 404}));
    EXPECT_EQ(recorder.CountHeads("command=16 "), 5);
    EXPECT_FALSE(abilities.IsLoaded());
}

TEST_F(Command, ManualRecordingByTheFourthLine) {
    recorder.SetDocument("mrec.cgi?ch=3&act=1 ", "HTTP/1.0 200 OK\r\na\r\nb\r\nc\r\nOK\r\n");
    EXPECT_EQ(Run(kCmdManualRecording, 1), (Message{kMsgManualRecording, 7, 0}));
    recorder.SetDocument("mrec.cgi?ch=3&act=0 ", "HTTP/1.0 200 OK\r\na\r\nb\r\nc\r\nERROR\r\n");
    EXPECT_EQ(Run(kCmdManualRecording, 0), (Message{kMsgManualRecording, 6, 0}));
    recorder.SetDocument("mrec.cgi?ch=3&act=0 ", HttpReply(403, "Forbidden", ""));
    EXPECT_EQ(Run(kCmdManualRecording, 0), (Message{kMsgManualRecording, 4, 403}));
}

TEST_F(Command, PresetCommandsEndWithTheirTimer) {
    EXPECT_EQ(Run(kCmdPresetName, abilities.AddPresetRecord(4, "Gate", 10)), (Message{WM_TIMER, 87, 0}));
    EXPECT_EQ(Run(kCmdPresetIndex, 9), (Message{WM_TIMER, 86, 0}));
    EXPECT_THAT(recorder.Server().Heads(), Contains(HasSubstr("ptz.cgi?command=21&ch=3&arg=004xx ")));
    EXPECT_THAT(recorder.Server().Heads(), Contains(HasSubstr("ptz.cgi?command=22&ch=3&arg=009xx ")));
    const std::size_t heads = recorder.Server().Heads().size();
    EXPECT_EQ(Run(kCmdPresetIndex, 10), Message{}) << "there is no eleventh preset";
    EXPECT_EQ(recorder.Server().Heads().size(), heads);
}

}  // namespace
}  // namespace kvmon
