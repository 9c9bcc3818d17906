// Numbers that the skin's controls and their owners exchange.
#pragma once

#include <cstdint>

namespace kvmon {

// Sent for a chosen command: wParam is the control's or menu entry's identifier.
inline constexpr std::uint32_t WM_COMMAND = 273;
// Closes a wait dialog; wParam is the dialog's result.
inline constexpr std::uint32_t kMsgCloseWait = 1025;

// Results of a dialog.
inline constexpr int IDOK = 1;
inline constexpr int IDCANCEL = 2;

}  // namespace kvmon
