// What the console's window answers commands, messages and timers with.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/window_handle.h"

namespace kvmon {

class ConsoleParts;

// A command that is not in the table is tried as one of the cell's menu.
void RunCommand(ConsoleParts& parts, int id);
// The message's result; nothing for one that is not in the table.
std::optional<LParam> AnswerMessage(ConsoleParts& parts, std::uint32_t message, WParam wParam, LParam lParam);
// False for a timer that is not in the table.
bool RunTimer(ConsoleParts& parts, std::uint32_t id);

}  // namespace kvmon
