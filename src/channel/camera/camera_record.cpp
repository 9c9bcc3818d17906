// The channel object's settings: comparison, assignment and what the console reads and sets.
#include <utility>

#include "channel/camera/base_camera.h"
#include "channel/camera/channel_core.h"
#include "channel/source/camera_kind.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kVendorWithPasswords = 8;
constexpr std::uint32_t kVendorWithVideoUrl = 0;
constexpr std::uint32_t kAnyVendor = 0xFFFFFFFF;

// The fields of a record that make a channel another one, in the order of their comparison.
constexpr struct {
    const char* name;
    bool (*equal)(const CameraSettings&, const CameraSettings&);
    std::uint32_t vendorId;  // compared for this vendor only
} kComparedFields[] = {
    {"m_NetworkSetting[0]",
     [](const CameraSettings& a, const CameraSettings& b) {
         return a.m_NetworkSetting[0] == b.m_NetworkSetting[0];
     },
     kAnyVendor},
    {"m_NetworkSetting[1]",
     [](const CameraSettings& a, const CameraSettings& b) {
         return a.m_NetworkSetting[1] == b.m_NetworkSetting[1];
     },
     kAnyVendor},
    {"m_lpszCamUserName",
     [](const CameraSettings& a, const CameraSettings& b) {
         return a.m_lpszCamUserName == b.m_lpszCamUserName;
     },
     kAnyVendor},
    {"m_lpszCamPasswd",
     [](const CameraSettings& a, const CameraSettings& b) { return a.m_lpszCamPasswd == b.m_lpszCamPasswd; },
     kAnyVendor},
    {"m_lpszAdminPasswd",
     [](const CameraSettings& a, const CameraSettings& b) {
         return a.m_lpszAdminPasswd == b.m_lpszAdminPasswd;
     },
     kVendorWithPasswords},
    {"m_lpszGuestPasswd",
     [](const CameraSettings& a, const CameraSettings& b) {
         return a.m_lpszGuestPasswd == b.m_lpszGuestPasswd;
     },
     kVendorWithPasswords},
    {"m_lpszVideoURL",
     [](const CameraSettings& a, const CameraSettings& b) { return a.m_lpszVideoURL == b.m_lpszVideoURL; },
     kVendorWithVideoUrl},
    {"m_lpszSvrIP",
     [](const CameraSettings& a, const CameraSettings& b) { return a.m_lpszSvrIP == b.m_lpszSvrIP; },
     kAnyVendor},
    {"m_nSvrPort",
     [](const CameraSettings& a, const CameraSettings& b) { return a.m_nSvrPort == b.m_nSvrPort; },
     kAnyVendor},
    {"m_lpszSvrBase64Auth",
     [](const CameraSettings& a, const CameraSettings& b) {
         return a.m_lpszSvrBase64Auth == b.m_lpszSvrBase64Auth;
     },
     kAnyVendor},
    {"m_lpszSvrUserName",
     [](const CameraSettings& a, const CameraSettings& b) {
         return a.m_lpszSvrUserName == b.m_lpszSvrUserName;
     },
     kAnyVendor},
    {"m_lpszSvrPasswd",
     [](const CameraSettings& a, const CameraSettings& b) { return a.m_lpszSvrPasswd == b.m_lpszSvrPasswd; },
     kAnyVendor},
};

}  // namespace

bool CBaseCamera::operator==(const CameraSettings& settings) const {
    const CameraSettings own = m_core->m_source.GetSettings();
    const std::uint32_t uCH = GetCHInMainDlg();
    if ((own.m_bMonitorRight != 0) != (settings.m_bMonitorRight != 0)) {
        return false;
    }
    if (own.m_bMonitorRight == 0) {
        return true;
    }
    if (own.m_nCh != settings.m_nCh) {
        Trace("CBaseCamera::operator==: m_uCHInMainDlg=%u, m_uCHInKelvara=%u, pSettings->m_nCh=%d....\n", uCH,
              GetCHInKelvara(), settings.m_nCh);
        return false;
    }
    if (own.m_dwVendorId != settings.m_dwVendorId) {
        Trace(
            "CBaseCamera::operator==: m_uCHInMainDlg=%u, m_dwVendorId=0x%x, "
            "pSettings->m_dwVendorId=0x%x....\n",
            uCH, own.m_dwVendorId, settings.m_dwVendorId);
        return false;
    }
    if (own.m_dwModelId != settings.m_dwModelId) {
        Trace(
            "CBaseCamera::operator==: m_uCHInMainDlg=%u, m_dwModelId=0x%x, "
            "pSettings->m_dwModelId=0x%x....\n",
            uCH, own.m_dwModelId, settings.m_dwModelId);
        return false;
    }
    for (const auto& field : kComparedFields) {
        if ((field.vendorId == kAnyVendor || field.vendorId == own.m_dwVendorId) &&
            !field.equal(own, settings)) {
            Trace("CBaseCamera::operator==: m_uCHInMainDlg=%u, %s was changed....\n", uCH, field.name);
            return false;
        }
    }
    return true;
}

void CBaseCamera::operator=(const CameraSettings& settings) {
    ClearCameraInfo();
    // No document tells of a right of its own for listening: who may watch may listen.
    m_core->m_sound.m_bAudioRight = settings.m_bMonitorRight != 0;
    m_core->m_source.Assign(settings);
}

void CBaseCamera::ClearCameraInfo() {
    m_core->m_source.ForgetChoices();
    m_core->m_abilities.Clear();
    m_core->m_nErrorCount = 0;
    m_core->m_frames.SetWaitKeyFrame(false);
    m_core->m_picture.ResetSettings();
}

bool CBaseCamera::IsCameraUsable() const {
    return m_core->m_source.IsCameraUsable();
}

bool CBaseCamera::IsSettingsAssigned() const {
    return m_core->m_source.IsSettingsAssigned();
}

bool CBaseCamera::HasAddress() const {
    return m_core->m_source.HasAddress();
}

bool CBaseCamera::HasMonitorRight() const {
    return m_core->m_source.HasMonitorRight();
}

void CBaseCamera::SetCHInMainDlg(std::uint32_t n) {
    m_core->m_source.m_uCHInMainDlg = n;
    m_core->m_picture.SetCHInMainDlg(n);
}

std::uint32_t CBaseCamera::GetCHInMainDlg() const {
    return m_core->m_source.m_uCHInMainDlg;
}

std::uint32_t CBaseCamera::GetCHInKelvara() const {
    return m_core->m_source.m_uCHInKelvara;
}

void CBaseCamera::SetCameraName(const std::string& name) {
    const std::lock_guard lock(m_core->m_cs);
    m_core->m_strCameraName = name;
}

std::string CBaseCamera::GetCameraName() const {
    const std::lock_guard lock(m_core->m_cs);
    return m_core->m_strCameraName;
}

bool CBaseCamera::SetRecorderName(const std::string& name) {
    const std::lock_guard lock(m_core->m_cs);
    return std::exchange(m_core->m_strRecorderName, name) != name;
}

std::string CBaseCamera::GetCaptionName() const {
    const std::lock_guard lock(m_core->m_cs);
    const std::string& recorder = m_core->m_strRecorderName;
    return recorder.empty() ? m_core->m_strCameraName : recorder + ": " + m_core->m_strCameraName;
}

void CBaseCamera::SetAudioRight(bool bRight) {
    m_core->m_sound.m_bAudioRight = bRight;
}

bool CBaseCamera::HasAudioRight() const {
    return m_core->m_sound.m_bAudioRight;
}

void CBaseCamera::SetSupportAudio(bool bSupport) {
    m_core->m_sound.m_bSupportAudio = bSupport;
}

bool CBaseCamera::IsSupportAudio() const {
    return m_core->m_sound.m_bSupportAudio;
}

void CBaseCamera::SetStreamProfiles(std::vector<StreamProfile> profiles) {
    if (m_core->m_source.SetStreamProfiles(std::move(profiles)) && IsVideoRunning()) {
        CheckStreamChange();
    }
}

void CBaseCamera::ForgetFrameSize() {
    m_core->m_bSizeForgotten = true;
}

void CBaseCamera::SetTalkCapability(std::uint32_t dwAudioOut, std::uint32_t dwAudioOutType) {
    m_core->m_talk.SetTalkCapability(dwAudioOut, dwAudioOutType);
}

bool CBaseCamera::CanTalk() const {
    return m_core->m_talk.CanTalk();
}

void CBaseCamera::SetFixSizeServer(int cx, int cy) {
    m_core->m_source.SetFixSizeServer({cx, cy});
    m_core->RefreshFixSizeLine();
    if (IsVideoRunning()) {
        CheckStreamChange();
    }
}

ClassSize CBaseCamera::GetFixSizeServer() const {
    const FixedSize size = m_core->m_source.GetFixSizeServer();
    return {size.cx, size.cy};
}

std::vector<StreamProfile> CBaseCamera::GetStreamProfiles() const {
    return m_core->m_source.GetStreamProfiles();
}

bool CBaseCamera::CanStreamFromCamera() const {
    return m_core->m_source.kind.CanStreamFromCamera();
}

bool CBaseCamera::IsStreamFromCamera() const {
    return m_core->m_source.IsStreamFromCamera();
}

void CBaseCamera::SetStreamFrom(std::uint32_t n) {
    const bool bBefore = IsStreamFromCamera();
    m_core->m_source.m_nStreamFrom = n;
    m_core->m_source.m_trial.Reset();
    if (IsStreamFromCamera() != bBefore) {
        RestartPlaying();
    }
    m_core->RefreshSourceLines();
}

void CBaseCamera::FollowStreamOption() {
    m_core->m_source.m_trial.Reset();
    RestartPlaying();
}

ClassSize CBaseCamera::GetDefaultImageSize() const {
    const ImageSize size = m_core->m_source.kind.GetDefaultImageSize();
    return {size.cx, size.cy};
}

void CBaseCamera::SetPtzEnabled(bool bEnabled) {
    m_core->m_abilities.SetPtzEnabled(bEnabled);
}

}  // namespace kvmon
