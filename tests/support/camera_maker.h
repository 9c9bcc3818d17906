// What recorders tell of their channels, and channels made of it.
#pragma once

#include <memory>

#include "channel/camera/base_camera.h"

namespace kvtest {

// A channel of a recorder at this port of the own computer, that may be watched. Nobody connects to the
// camera's own address.
inline kvmon::CameraSettings SettingsOf(int channel, std::uint16_t recorderPort = 80) {
    kvmon::CameraSettings settings;
    settings.m_NetworkSetting[0].szAddress = "192.168.0.2";
    settings.m_nCh = channel;
    settings.m_nSvrPort = recorderPort;
    settings.m_lpszSvrIP = "127.0.0.1";
    settings.m_lpszSvrBase64Auth = "dXNlcjpwYXNz";
    settings.m_bMonitorRight = 1;
    return settings;
}

inline std::shared_ptr<kvmon::CBaseCamera> MakeCamera(const kvmon::CameraSettings& settings,
                                                      kvmon::Clock& clock = kvmon::SystemClock()) {
    auto camera = kvmon::CreateCamera(&settings, clock);
    *camera = settings;
    return camera;
}

}  // namespace kvtest
