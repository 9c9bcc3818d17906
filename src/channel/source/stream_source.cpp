#include "channel/source/stream_source.h"

#include <string>
#include <utility>

#include "channel/base/channel_globals.h"
#include "channel/source/camera_kind.h"
#include "persist/log_file.h"
#include "persist/utilities.h"

namespace kvmon {

StreamSource::StreamSource(const StreamSource& other, std::uint32_t nWay)
    : clock(other.clock), kind(other.kind) {
    m_uCHInMainDlg = other.m_uCHInMainDlg.load();
    m_uCHInKelvara = other.m_uCHInKelvara.load();
    m_nStreamFrom = kStreamFromCamera;
    m_nNetworkSettingIdx = nWay;
    const std::lock_guard lock(other.m_cs);
    m_settings = other.m_settings;
    m_lpszCamBase64Auth = other.m_lpszCamBase64Auth.View();
}

void StreamSource::Assign(const CameraSettings& settings) {
    const std::lock_guard lock(m_cs);
    m_uCHInKelvara = static_cast<std::uint32_t>(settings.m_nCh);
    m_bHasAddress = settings.m_NetworkSetting[0].HasAddress() || settings.m_NetworkSetting[1].HasAddress();
    m_bSettingsAssigned = true;
    m_lpszCamBase64Auth = std::string_view();
    if (settings.m_bMonitorRight != 0) {
        m_settings = settings;
        if (m_bHasAddress) {
            m_lpszCamBase64Auth = EncodeBasicAuth(std::string(settings.m_lpszCamUserName.View()) + ":" +
                                                  std::string(settings.m_lpszCamPasswd.View()));
        }
        return;
    }
    Trace("CBaseCamera::operator=: m_uCHInMainDlg=%u, m_bMonitorRight=FALSE....\n", m_uCHInMainDlg.load());
    CameraSettings bare;
    bare.m_dwVendorId = settings.m_dwVendorId;
    bare.m_dwModelId = settings.m_dwModelId;
    bare.m_nCh = settings.m_nCh;
    m_settings = bare;
}

CameraSettings StreamSource::GetSettings() const {
    const std::lock_guard lock(m_cs);
    return m_settings;
}

bool StreamSource::IsSettingsAssigned() const {
    const std::lock_guard lock(m_cs);
    return m_bSettingsAssigned;
}

bool StreamSource::HasAddress() const {
    const std::lock_guard lock(m_cs);
    return m_bHasAddress;
}

bool StreamSource::HasMonitorRight() const {
    const std::lock_guard lock(m_cs);
    return m_settings.m_bMonitorRight != 0;
}

bool StreamSource::IsCameraUsable() const {
    const std::lock_guard lock(m_cs);
    return m_bSettingsAssigned && m_bHasAddress && m_settings.m_bMonitorRight != 0;
}

void StreamSource::ForgetChoices() {
    const std::lock_guard lock(m_cs);
    m_StreamProfiles.clear();
    m_FixSizeServer = {};
    m_FixSizeCamera = {};
    m_nStreamId = -1;
    m_trial.Reset();
}

bool StreamSource::IsStreamFromCamera() const {
    if (!kind.CanStreamFromCamera()) {
        return false;
    }
    const std::uint32_t from = m_nStreamFrom;
    const bool bWanted =
        from == kStreamFromOption ? Globals().streamFromCamera.load() : from != kStreamFromRecorder;
    return bWanted && !m_trial.IsGone();
}

bool StreamSource::GetKelvaraSettings(TargetSettings& settings) const {
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

bool StreamSource::GetTargetSettings(TargetSettings& settings) const {
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

bool StreamSource::HasWay(std::uint32_t nWay) const {
    const std::lock_guard lock(m_cs);
    return m_settings.m_NetworkSetting[nWay & 1].HasAddress();
}

bool StreamSource::HasOtherWay() const {
    return HasWay(m_nNetworkSettingIdx + 1);
}

bool StreamSource::SwitchNetworkSetting() {
    const bool bOther = HasOtherWay();
    m_nNetworkSettingIdx = bOther ? m_nNetworkSettingIdx + 1 : 2;
    return bOther;
}

std::int32_t StreamSource::WantedStreamId() const {
    return IsStreamFromCamera() ? kind.GetCameraStreamId(*this) : SelectStreamId();
}

std::int32_t StreamSource::SelectStreamId() const {
    const bool bFromCamera = IsStreamFromCamera();
    const std::lock_guard lock(m_cs);
    const FixedSize& fixed = bFromCamera ? m_FixSizeCamera : m_FixSizeServer;
    const FixedSize wanted = fixed.IsSet() ? fixed : FixedSize{m_nViewWidth, m_nViewHeight};
    const auto pixels = static_cast<std::uint64_t>(wanted.cx) * static_cast<std::uint64_t>(wanted.cy);
    return kvmon::SelectStreamId(m_StreamProfiles,
                                 m_bDigitalZoom ? StreamUse::DigitalZoom : StreamUse::WholePicture, pixels);
}

bool StreamSource::SetStreamProfiles(std::vector<StreamProfile> profiles) {
    const std::lock_guard lock(m_cs);
    if (m_StreamProfiles == profiles) {
        return false;
    }
    m_StreamProfiles = std::move(profiles);
    return true;
}

std::vector<StreamProfile> StreamSource::GetStreamProfiles() const {
    const std::lock_guard lock(m_cs);
    return m_StreamProfiles;
}

void StreamSource::SetViewSize(int cx, int cy) {
    const std::lock_guard lock(m_cs);
    m_nViewWidth = cx;
    m_nViewHeight = cy;
}

void StreamSource::SetFixSizeServer(const FixedSize& size) {
    const std::lock_guard lock(m_cs);
    m_FixSizeServer = size;
}

void StreamSource::SetFixSizeCamera(const FixedSize& size) {
    const std::lock_guard lock(m_cs);
    m_FixSizeCamera = size;
}

FixedSize StreamSource::GetFixSizeServer() const {
    const std::lock_guard lock(m_cs);
    return m_FixSizeServer;
}

FixedSize StreamSource::GetFixSizeCamera() const {
    const std::lock_guard lock(m_cs);
    return m_FixSizeCamera;
}

}  // namespace kvmon
