// Messages that a server object posts to the console. wParam is a code, lParam the server's index.
#pragma once

#include <cstdint>

namespace kvmon {

inline constexpr std::uint32_t WM_GETVSINFO_FAILED = 11322;
inline constexpr std::uint32_t WM_UPDATEVSINFO = 11323;

// Codes of WM_UPDATEVSINFO.
inline constexpr std::uint32_t WM_UPDATEVSINFO_CAMERACONN = 1;
inline constexpr std::uint32_t SUPPORT_HDCHART = 2;
inline constexpr std::uint32_t WM_UPDATEVSINFO_CAMERASTATUS = 3;
inline constexpr std::uint32_t WM_UPDATEVSINFO_SERVERINFO = 4;
// What the channels can do is known, or known anew.
inline constexpr std::uint32_t WM_UPDATEVSINFO_CAPABILITIES = 5;

// Codes of WM_GETVSINFO_FAILED.
inline constexpr std::uint32_t kFailedConcInfo = 1;
inline constexpr std::uint32_t kFailedDiskInfo = 2;
inline constexpr std::uint32_t kFailedExtInfo = 3;
inline constexpr std::uint32_t kFailedControlAuth = 5;
inline constexpr std::uint32_t kFailedAuthorization = 7;
inline constexpr std::uint32_t kFailedAdministrators = 8;

}  // namespace kvmon
