// The channel object's commands, and its user's voice.
#include "channel/base/cam_commands.h"
#include "channel/camera/base_camera.h"
#include "channel/camera/channel_core.h"

namespace kvmon {

namespace {

constexpr std::uint64_t kInfoRefreshMs = 60000;

}  // namespace

void CBaseCamera::AddCamCmd(std::uint32_t dwCmd, std::uint32_t dwArg) {
    m_core->AddCamCmd(dwCmd, dwArg);
}

void CBaseCamera::AddCamCenterCmd(int x, int y) {
    const auto high = static_cast<std::uint32_t>(x) << 16;
    m_core->AddCamCmd(kCmdClickToCentre, high | (static_cast<std::uint32_t>(y) & 0xFFFF));
}

void CBaseCamera::AddPresetNameCmd(std::uint32_t nIndex, const std::string& name) {
    // The queue drops the oldest commands in the same measure.
    m_core->AddCamCmd(kCmdPresetName,
                      m_core->m_abilities.AddPresetRecord(nIndex, name, CamCmdQueue::kMaxWaiting));
}

void CBaseCamera::AddPresetIndexCmd(std::uint32_t nIndex) {
    m_core->AddCamCmd(kCmdPresetIndex, nIndex);
}

void CBaseCamera::ReadPresetFormat() {
    m_core->AddCamCmd(kCmdReadPresetFormat, 0);
}

PresetFormat CBaseCamera::GetPresetFormat() const {
    return m_core->m_abilities.GetPresetFormat();
}

CameraInfo CBaseCamera::GetCameraInfo() const {
    return m_core->m_abilities.GetCameraInfo();
}

std::uint32_t CBaseCamera::GetFailedCommands() const {
    return m_core->m_abilities.GetFailedCommands();
}

std::string CBaseCamera::GetRecordingFault() const {
    return m_core->m_abilities.GetRecordingFault();
}

void CBaseCamera::RefreshCameraInfo() {
    Abilities& abilities = m_core->m_abilities;
    const std::uint64_t now = m_core->clock.TickMs();
    // One that waits or runs will do; the queue may have dropped it, though.
    const bool bRecent = now - abilities.GetReadTick() < kInfoRefreshMs;
    if (bRecent && (abilities.IsLoaded() || abilities.IsReadingAsked())) {
        return;
    }
    abilities.NoteReadingAsked(now);
    m_core->AddCamCmd(kCmdReadCameraInfo, 0);
}

bool CBaseCamera::IsCameraInfoLoaded() const {
    return m_core->m_abilities.IsLoaded();
}

// --- talk-back

bool CBaseCamera::PrepareTalking(const WindowHandle& hWnd, const std::shared_ptr<const FlagWord>& abort) {
    return m_core->m_talk.PrepareTalking(hWnd, abort);
}

std::uint32_t CBaseCamera::GetTalkingBufferSamples() const {
    return TalkBack::kBufferSamples;
}

std::uint16_t CBaseCamera::GetTalkingSampleBits() const {
    return TalkBack::kSampleBits;
}

bool CBaseCamera::SendTalkingData(const WindowHandle& hWnd, std::span<const std::int16_t> samples) {
    return m_core->m_talk.SendTalkingData(hWnd, samples);
}

std::size_t CBaseCamera::GetTalkingEncodedSize(std::size_t size) const {
    return m_core->m_talk.GetTalkingEncodedSize(size);
}

}  // namespace kvmon
