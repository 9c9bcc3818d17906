// Messages between channels, cells and the console.
#pragma once

#include <cstdint>

namespace kvmon {

inline constexpr std::uint32_t WM_TIMER = 275;               // wParam the timer
inline constexpr std::uint32_t kMsgManualRecording = 11406;  // outcome of a recording command
inline constexpr std::uint32_t kMsgEndStop = 11411;          // command outcome to a cell
inline constexpr std::uint32_t kMsgCaptionRefresh = 11412;   // a cell's caption strip is stale
inline constexpr std::uint32_t kMsgShowText = 11413;         // to a cell; wParam a text, shown for a while
inline constexpr std::uint32_t kMsgFirstData = 15791;        // a channel's first picture; wParam channel
inline constexpr std::uint32_t kMsgSizeChange = 15792;       // a channel's picture size; wParam channel

// From a cell to the console. Each step of a drag is told; an answer of 0 ends the drag.
inline constexpr std::uint32_t kMsgVideoWndMove = 2060;       // dropped; wParam channel, lParam screen point
inline constexpr std::uint32_t kMsgRepaintNeighbours = 2062;  // wParam window
inline constexpr std::uint32_t kMsgMayDragCell = 11502;       // wParam channel; 1: it has places to go
inline constexpr std::uint32_t kMsgDragBegins = 11503;        // wParam channel, lParam screen point
inline constexpr std::uint32_t kMsgDragMoves = 11504;         // the same
inline constexpr std::uint32_t kMsgDragEnds = 11505;          // wParam channel
inline constexpr std::uint32_t kMsgSwipe = 11531;             // lParam 1 a page on, -1 one back

inline constexpr std::uint32_t WM_TALKING_NOTIFY = 16579;  // to the talk dialog; see talk_back.h

inline constexpr std::uint32_t kCmdRefreshControls = 1757;

}  // namespace kvmon
