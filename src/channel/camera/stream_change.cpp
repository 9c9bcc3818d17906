// When a channel changes between its recorder and the ways to its camera.
#include "channel/base/cam_commands.h"
#include "channel/camera/channel_core.h"
#include "persist/string_table.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStringDisconnected = 57412;
// "The camera does not answer, picture from the recorder"
constexpr std::uint32_t kStrFromRecorder = 6891;
// A stream of this length was a good one, however it ended.
constexpr std::uint64_t kSteadyMs = 30000;
// From here on the user is told of each further attempt.
constexpr std::uint32_t kManySwitches = 4;

}  // namespace

void ChannelCore::RefreshSourceLines() {
    const bool bFromCamera = m_source.IsStreamFromCamera();
    m_picture.SetSubString(SubString::StreamFrom,
                           bFromCamera ? "Stream From: Camera" : "Stream From: Server");
    m_picture.SetSubString(SubString::SysInfoFrom, bFromCamera ? "SysInfo From: Camera" : "");
    m_picture.SetSubString(SubString::PtzCmdTo, bFromCamera ? "PtzCmd To: Camera" : "");
    RefreshFixSizeLine();
}

void ChannelCore::RefreshFixSizeLine() {
    const FixedSize size =
        m_source.IsStreamFromCamera() ? m_source.GetFixSizeCamera() : m_source.GetFixSizeServer();
    m_picture.SetSubString(SubString::FixSize,
                           size.IsSet() ? FormatText("Fix Size: %d x %d", size.cx, size.cy) : std::string());
}

void ChannelCore::SwitchNetworkSetting() {
    if (m_bStreamRunning || m_source.m_nNetworkSettingIdx >= kManySwitches) {
        SetCaption(LoadString(kStringDisconnected));
    }
    if (m_bStreamRunning || !m_source.IsStreamFromCamera() || !m_source.SwitchNetworkSetting()) {
        return;
    }
    RestartPlaying();
    // What the camera can do is asked for anew.
    m_commandThread.Control()->Interrupt();
    AddCamCmd(kCmdReadCameraInfo, 0);
}

void ChannelCore::EndCameraPass(CameraPatience& patience) {
    TargetSettings recorder;
    if (!m_source.GetKelvaraSettings(recorder)) {
        return;
    }
    const bool bDelivered = patience.HasDelivered();
    if (bDelivered && !patience.HasEnded() && patience.GetDeliveredMs() >= kSteadyMs) {
        return;  // it served well and hung up: one more connection
    }
    if (m_source.HasOtherWay() && !bDelivered && m_source.m_trial.CountWay() == 1) {
        m_source.m_nNetworkSettingIdx = (m_source.m_nNetworkSettingIdx + 1) & 1;
        RestartPlaying();
        return;
    }
    // Better the recorder's pictures than none.
    m_source.m_trial.Fail(clock);
    m_nErrorCount = 0;
    if (m_source.m_nStreamFrom != kStreamFromOption) {
        ShowText(kStrFromRecorder);
    }
    RestartPlaying();
    m_lookThread.Control()->run.Set();
}

}  // namespace kvmon
