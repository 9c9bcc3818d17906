// The platform "kvweb" for an application.
#pragma once

namespace kvmon {

// Makes the platform known to Qt; before the application is made with QT_QPA_PLATFORM set to its name.
inline constexpr const char* kRemotePlatform = "kvweb";
void RegisterRemotePlatform();

}  // namespace kvmon
