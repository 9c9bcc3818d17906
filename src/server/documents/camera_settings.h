// What a recorder tells about one channel, as the channel object takes it.
#pragma once

#include <cstdint>

#include "platform/secret_memory.h"
#include "platform/text.h"

namespace kvmon {

// One way to reach a camera itself.
struct NetworkSetting {
    std::uint32_t nPort = 0;
    std::uint32_t nRtspPort = 0;
    BoundedText<64> szAddress;

    bool HasAddress() const { return !szAddress.IsEmpty(); }
    friend bool operator==(const NetworkSetting&, const NetworkSetting&) = default;
};

// The settings that CreateCamera and CBaseCamera take. A plain value.
struct CameraSettings {
    std::uint32_t m_dwVendorId = 0xFFFFFFFF;
    std::uint32_t m_dwModelId = 0xFFFFFFFF;
    NetworkSetting m_NetworkSetting[2];  // LAN, WAN
    BoundedText<64> m_lpszCamUserName;
    SecretText<64> m_lpszCamPasswd;
    SecretText<64> m_lpszAdminPasswd;
    SecretText<64> m_lpszGuestPasswd;
    std::int32_t m_nCh = 0;
    BoundedText<256> m_lpszVideoURL;
    std::uint32_t m_nSvrPort = 80;
    BoundedText<64> m_lpszSvrIP;
    SecretText<256> m_lpszSvrBase64Auth;
    BoundedText<64> m_lpszSvrUserName;
    SecretText<64> m_lpszSvrPasswd;
    std::uint32_t m_bMonitorRight = 0;
};

}  // namespace kvmon
