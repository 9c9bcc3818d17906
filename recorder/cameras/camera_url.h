// The address of a camera's pictures.
#pragma once

#include <string>
#include <string_view>

#include "media/secret.h"

namespace kvrecorder {

// Of a camera of this computer: "usb:/dev/video0".
inline constexpr std::string_view kUsbScheme = "usb:";

// An address and the login that stood in it. What is left of the address may be told to anybody.
struct CameraUrl {
    std::string url;   // "rtsp://host:554/path"
    std::string host;  // without brackets; of a camera of this computer its device
    std::string user;
    Secret password;
    bool saysPassword = false;  // also an empty one
};

// Throws CameraError, which repeats nothing of a login.
CameraUrl ReadCameraUrl(std::string_view text);
// The same of a text that may hold a password: it is wiped, whatever comes of it.
CameraUrl TakeCameraUrl(std::string& text);
// The address is that of a camera's device service, which is to be asked for those of its pictures.
bool IsDeviceUrl(std::string_view url);
// What is said to the camera there goes by a connection that is encrypted.
bool IsEncryptedUrl(std::string_view url);

// The address with the login in it, as libraries want it.
Secret JoinLogin(std::string_view url, std::string_view user, std::string_view password);

}  // namespace kvrecorder
