// The texts of the windows about a recorder's cameras. Inside this folder only.
#pragma once

#include <cstdint>

namespace kvmon {

inline constexpr std::uint32_t kStrCameras = 7501;
inline constexpr std::uint32_t kStrFind = 7502;
inline constexpr std::uint32_t kStrState = 7503;
inline constexpr std::uint32_t kStrPicture = 7504;
inline constexpr std::uint32_t kStrLive = 7505;
inline constexpr std::uint32_t kStrIdle = 7506;
inline constexpr std::uint32_t kStrLost = 7507;
inline constexpr std::uint32_t kStrNone = 7508;
inline constexpr std::uint32_t kStrEmpty = 7509;
inline constexpr std::uint32_t kStrTransport = 7510;
inline constexpr std::uint32_t kStrTcp = 7511;
inline constexpr std::uint32_t kStrUdp = 7512;
inline constexpr std::uint32_t kStrAddTitle = 7513;
inline constexpr std::uint32_t kStrChangeTitle = 7514;
inline constexpr std::uint32_t kStrAskRemove = 7515;
inline constexpr std::uint32_t kStrNoAnswer = 7516;
inline constexpr std::uint32_t kStrNotAllowed = 7517;
inline constexpr std::uint32_t kStrNotWritten = 7518;
inline constexpr std::uint32_t kStrRefused = 7519;
inline constexpr std::uint32_t kStrNotKept = 7520;
inline constexpr std::uint32_t kStrFoundTitle = 7521;
inline constexpr std::uint32_t kStrLooking = 7522;
inline constexpr std::uint32_t kStrNothingFound = 7523;
inline constexpr std::uint32_t kStrTesting = 7524;
inline constexpr std::uint32_t kStrWorks = 7525;
inline constexpr std::uint32_t kStrNoPicture = 7526;
inline constexpr std::uint32_t kStrKeepPassword = 7527;
inline constexpr std::uint32_t kStrModel = 7528;
inline constexpr std::uint32_t kStrOldList = 7529;
inline constexpr std::uint32_t kStrNeedsName = 7530;
inline constexpr std::uint32_t kStrTest = 7531;
inline constexpr std::uint32_t kStrAgain = 7532;
inline constexpr std::uint32_t kStrAccept = 7650;
inline constexpr std::uint32_t kStrCompare = 7656;

// Of other windows.
inline constexpr std::uint32_t kStrName = 6130;
inline constexpr std::uint32_t kStrAddress = 6131;
inline constexpr std::uint32_t kStrAdd = 6135;
inline constexpr std::uint32_t kStrChange = 6136;
inline constexpr std::uint32_t kStrRemove = 6137;
inline constexpr std::uint32_t kStrStopTest = 6146;
inline constexpr std::uint32_t kStrClose = 6408;
inline constexpr std::uint32_t kStrUp = 3515;
inline constexpr std::uint32_t kStrDown = 3516;

}  // namespace kvmon
