// Where a channel's pictures come from: its recorder, or the camera itself by one of two ways.
#include "channel/cam_commands.h"
#include "channel/channel_core.h"
#include "channel/channel_globals.h"
#include "channel/channel_messages.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStringDisconnected = 57412;
constexpr std::uint32_t kFollowOption = 0;
constexpr std::uint32_t kFromRecorder = 1;
// "The camera does not answer, picture from the recorder"
constexpr std::uint32_t kStrFromRecorder = 6891;
// A stream of this length was a good one, however it ended.
constexpr std::uint64_t kSteadyMs = 30000;
// From here on the user is told of each further attempt.
constexpr std::uint32_t kManySwitches = 4;

}  // namespace

bool ChannelCore::IsStreamFromCamera() const {
    if (!kind.CanStreamFromCamera()) {
        return false;
    }
    const std::uint32_t from = m_nStreamFrom;
    const bool bWanted = from == kFollowOption ? Globals().streamFromCamera.load() : from != kFromRecorder;
    return bWanted && !m_trial.IsGone();
}

bool ChannelCore::GetKelvaraSettings(TargetSettings& settings) const {
    const std::lock_guard lock(m_cs);
    settings.bFromCamera = false;
    settings.nCh = m_uCHInKelvara;
    settings.nPort = m_settings.m_nSvrPort;
    settings.szAddress = m_settings.m_lpszSvrIP.View();
    settings.szUserName = m_settings.m_lpszSvrUserName.View();
    settings.szPasswd = m_settings.m_lpszSvrPasswd.View();
    // Longer authorizations are cut, as recorders have always got them.
    settings.szBase64Auth = m_settings.m_lpszSvrBase64Auth.View();
    return !settings.szAddress.IsEmpty();
}

bool ChannelCore::GetTargetSettings(TargetSettings& settings) const {
    if (!IsStreamFromCamera()) {
        return GetKelvaraSettings(settings);
    }
    const std::lock_guard lock(m_cs);
    // A way without an address fails as one that leads nowhere, so that the other one is tried.
    const NetworkSetting& way = m_settings.m_NetworkSetting[m_nNetworkSettingIdx & 1];
    settings.bFromCamera = true;
    settings.nCh = m_uCHInKelvara;
    settings.nPort = way.nPort;
    settings.szAddress = way.szAddress.View();
    settings.szUserName = m_settings.m_lpszCamUserName.View();
    settings.szPasswd = m_settings.m_lpszCamPasswd.View();
    settings.szBase64Auth = m_lpszCamBase64Auth.View();
    settings.szVideoURL = m_settings.m_lpszVideoURL.View();
    return true;
}

std::int32_t ChannelCore::WantedStreamId() const {
    return IsStreamFromCamera() ? kind.GetCameraStreamId(*this) : SelectStreamId();
}

std::int32_t ChannelCore::SelectStreamId() const {
    const bool bFromCamera = IsStreamFromCamera();
    const std::lock_guard lock(m_cs);
    const FixedSize& fixed = bFromCamera ? m_FixSizeCamera : m_FixSizeServer;
    const FixedSize wanted = fixed.IsSet() ? fixed : FixedSize{m_nViewWidth, m_nViewHeight};
    const auto pixels = static_cast<std::uint64_t>(wanted.cx) * static_cast<std::uint64_t>(wanted.cy);
    return kvmon::SelectStreamId(m_StreamProfiles, m_bDigitalZoom, pixels);
}

void ChannelCore::RefreshSourceLines() {
    const bool bFromCamera = IsStreamFromCamera();
    m_picture.SetSubString(SubString::StreamFrom,
                           bFromCamera ? "Stream From: Camera" : "Stream From: Server");
    m_picture.SetSubString(SubString::SysInfoFrom, bFromCamera ? "SysInfo From: Camera" : "");
    m_picture.SetSubString(SubString::PtzCmdTo, bFromCamera ? "PtzCmd To: Camera" : "");
    RefreshFixSizeLine();
}

void ChannelCore::RefreshFixSizeLine() {
    const bool bFromCamera = IsStreamFromCamera();
    FixedSize size;
    {
        const std::lock_guard lock(m_cs);
        size = bFromCamera ? m_FixSizeCamera : m_FixSizeServer;
    }
    m_picture.SetSubString(SubString::FixSize,
                           size.IsSet() ? FormatText("Fix Size: %d x %d", size.cx, size.cy) : std::string());
}

void ChannelCore::SwitchNetworkSetting() {
    if (m_bStreamRunning || m_nNetworkSettingIdx >= kManySwitches) {
        m_picture.SetMainOsdCameraString(LoadString(kStringDisconnected), true);
    }
    if (m_bStreamRunning || !IsStreamFromCamera()) {
        return;
    }
    bool bOther = false;
    {
        const std::lock_guard lock(m_cs);
        bOther = m_settings.m_NetworkSetting[(m_nNetworkSettingIdx + 1) & 1].HasAddress();
        m_nNetworkSettingIdx = bOther ? m_nNetworkSettingIdx + 1 : 2;
    }
    if (!bOther) {
        return;
    }
    RestartPlaying();
    // What the camera can do is asked for anew.
    m_commandThread.Control()->Interrupt();
    AddCamCmd(kCmdReadCameraInfo, 0);
}

void ChannelCore::EndCameraPass(CameraPatience& patience) {
    TargetSettings recorder;
    if (!GetKelvaraSettings(recorder)) {
        return;
    }
    const bool bDelivered = patience.HasDelivered();
    if (bDelivered && !patience.HasEnded() && patience.GetDeliveredMs() >= kSteadyMs) {
        return;  // it served well and hung up: one more connection
    }
    bool bOther = false;
    {
        const std::lock_guard lock(m_cs);
        bOther = m_settings.m_NetworkSetting[(m_nNetworkSettingIdx + 1) & 1].HasAddress();
    }
    if (bOther && !bDelivered && m_trial.CountWay() == 1) {
        m_nNetworkSettingIdx = (m_nNetworkSettingIdx + 1) & 1;
        RestartPlaying();
        return;
    }
    // Better the recorder's pictures than none.
    m_trial.Fail(clock);
    m_nErrorCount = 0;
    if (m_nStreamFrom != kFollowOption) {
        ShowText(kStrFromRecorder);
    }
    RestartPlaying();
    m_lookThread.Control()->run.Set();
}

}  // namespace kvmon
