// What a channel's threads find in what they share.
#include <gmock/gmock.h>

#include "channel/camera/channel_core.h"
#include "channel/stream/camera_kinds.h"
#include "test_frames.h"

namespace kvmon {
namespace {

TEST(StreamErrors, ShowAtTheSeventhAndThenAtEverySixth) {
    ChannelCore core(SystemClock());
    for (int i = 1; i <= 25; ++i) {
        core.m_picture.SetMainOsdCameraString({}, CaptionStay::UntilPicture);
        core.ReportStreamError(kStreamStatus, 401);
        const bool shown = core.m_picture.GetMainCaption() == "Unauthorized";
        EXPECT_EQ(shown, i == 7 || i == 13 || i == 19 || i == 25) << i;
    }
}

TEST(StreamErrors, SayWhatIsWrong) {
    const auto captionOf = [](int code, int argument, bool running) {
        ChannelCore core(SystemClock());
        core.m_bStreamRunning = running;
        core.m_nErrorCount = 6;
        core.ReportStreamError(code, argument);
        return core.m_picture.GetMainCaption();
    };
    EXPECT_EQ(captionOf(kStreamStatus, 401, false), "Unauthorized");
    EXPECT_EQ(captionOf(kStreamStatus, 403, false), "Disconnected");
    EXPECT_EQ(captionOf(kStreamBodyCut, 0, false), "Disconnected");
    // Before the first picture it still connects.
    EXPECT_EQ(captionOf(kStreamConnect, 0, false), "");
    EXPECT_EQ(captionOf(kStreamStatus, 404, false), "");
    EXPECT_EQ(captionOf(kStreamConnect, 0, true), "Disconnected");
    EXPECT_EQ(captionOf(kStreamStatus, 404, true), "Disconnected");
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

TEST(ChannelCore, AnAbandonedThreadShowsNothing) {
    ChannelCore core(SystemClock());
    ThreadControl control;
    control.abandoned = true;
    core.AddDecodeFrame(control, kvtest::MakePlainFrame(64, 48, {0, 200, 0}));
    EXPECT_FALSE(core.m_picture.HasPicture());
    EXPECT_EQ(core.m_counters.m_nShown, 0u);
    control.abandoned = false;
    core.AddDecodeFrame(control, kvtest::MakePlainFrame(64, 48, {0, 200, 0}));
    EXPECT_TRUE(core.m_picture.HasPicture());
}

}  // namespace
}  // namespace kvmon
