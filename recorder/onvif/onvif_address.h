// Addresses that a camera tells of itself.
#pragma once

#include <string>

namespace kvrecorder {

// "http://host[:port]/onvif/device_service" of a camera's url, onvif://host[:port] with or without a path, or
// of itself; https:// of onvifs://. Throws CameraError.
std::string DeviceAddress(const std::string& given);
// The url of the camera whose device service is there.
std::string CameraUrlOf(const std::string& device);

// A told address with the host that the camera was reached at, since a camera behind a router tells its own.
// Where its host is another one, the port of services changes with it; pictures keep their own. Throws
// CameraError for what is no address of a camera.
std::string ServiceAddress(const std::string& told, const std::string& reached);
std::string StreamAddress(const std::string& told, const std::string& reached);

// The same address at another host.
std::string WithHost(const std::string& address, const std::string& host);
// The host alone, without brackets; with its interface where it has one, "fe80::1%eth0".
std::string HostOf(const std::string& address);

}  // namespace kvrecorder
