// Numbers of the console's messages and timers.
#pragma once

#include <cstdint>

namespace kvmon {

inline constexpr std::uint32_t kMsgPressLogout = 1025;
inline constexpr std::uint32_t kMsgOpenHelp = 1028;  // lParam topic
inline constexpr std::uint32_t kMsgPtzPress = 2058;  // wParam 1 pressed, lParam control
inline constexpr std::uint32_t kMsgFocusStyleButton = 2059;
inline constexpr std::uint32_t kMsgGoToCamera = 2061;  // wParam channel, or page of a style that has pages

// Of our own: the second display's panel was double clicked.
inline constexpr std::uint32_t kMsgSecondPanelClosed = 11501;
// Of our own: all commands kCmdRefreshControls that were in the queue have come.
inline constexpr std::uint32_t kMsgRefreshEnds = 11506;

inline constexpr std::uint32_t kTimerSequential = 1000;
inline constexpr std::uint32_t kTimerHold = 1002;
inline constexpr std::uint32_t kTimerWaitCursor = 1004;
inline constexpr std::uint32_t kTimerManualRecording = 1007;
inline constexpr std::uint32_t kTimerLogin = 1009;
inline constexpr std::uint32_t kTimerSweep = 1010;
inline constexpr std::uint32_t kTimerStopping = 1011;
inline constexpr std::uint32_t kTimerPrepare = 1012;
inline constexpr std::uint32_t kTimerPendingServers = 1016;
inline constexpr std::uint32_t kTimerEvents = 2100;
inline constexpr std::uint32_t kTimerSecond = 1100;      // of our own: what is looked at once a second
inline constexpr std::uint32_t kTimerKeyRelease = 1102;  // of our own: a released key is no repeat
inline constexpr std::uint32_t kTimerViewStep = 1103;    // of our own: the next view of a sequence
inline constexpr std::uint32_t kTimerFeedback = 1105;    // of our own: a word over the wall goes
inline constexpr std::uint32_t kTimerFlash = 1106;       // of our own: the flash of a snapshot ends

}  // namespace kvmon
