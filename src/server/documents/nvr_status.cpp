#include "server/documents/nvr_status.h"

#include <bit>

namespace kvmon {

std::uint32_t StatusWord(const StatusWords& words, std::uint32_t mask) {
    const int word = std::countr_zero(mask);
    return word < kStatusWordCount ? words[static_cast<std::size_t>(word)] : 0;
}

std::uint32_t CVideoSetting::Status(std::uint32_t mask) const {
    return StatusWord(statusWords, mask);
}

void CVideoSetting::SetStatus(std::uint32_t mask, std::uint32_t value) {
    const int word = std::countr_zero(mask);
    if (word < kStatusWordCount) {
        statusWords[static_cast<std::size_t>(word)] = value;
    }
}

void CVideoSetting::SetCapabilities(const ChannelCapabilities& capabilities) {
    m_StreamInfo = capabilities.streams;
    m_nAudioOut = capabilities.nAudioOut;
    m_nAudioOutType = capabilities.nAudioOutType;
}

CameraSettings CVideoSetting::ToCameraSettings() const {
    CameraSettings copy;
    copy.m_dwVendorId = m_dwVendorId;
    copy.m_dwModelId = m_dwModelId;
    copy.m_NetworkSetting[0] = m_NetworkSetting[0];
    copy.m_NetworkSetting[1] = m_NetworkSetting[1];
    copy.m_lpszCamUserName = m_lpszCamUserName;
    copy.m_lpszCamPasswd = m_lpszCamPasswd;
    copy.m_lpszAdminPasswd = m_lpszAdminPasswd;
    copy.m_lpszGuestPasswd = m_lpszGuestPasswd;
    copy.m_nCh = m_nCh;
    copy.m_lpszVideoURL = m_lpszVideoURL;
    copy.m_nSvrPort = m_nSvrPort;
    copy.m_lpszSvrIP = m_lpszSvrIP;
    copy.m_lpszSvrBase64Auth = m_lpszSvrBase64Auth;
    copy.m_lpszSvrUserName = m_lpszSvrUserName;
    copy.m_lpszSvrPasswd = m_lpszSvrPasswd;
    copy.m_bMonitorRight = Status(kStatusMonitorRight);
    return copy;
}

void CNvrStatus::Reset() {
    m_strServerName.clear();
    strServerVersion.clear();
    strServerBuild.clear();
    bOwnRecorder = false;
    m_nServerState = 1;
    m_nDiskStatus = 100;
    m_nChannelCount = 0;
    m_nDiskUsed = 0;
}

}  // namespace kvmon
