// The command thread. For the channel's folders and their tests only.
#pragma once

#include "channel/command/command_parts.h"

namespace kvmon {

// The command thread's body.
void DoCamCmdLoop(const CommandParts& parts);

}  // namespace kvmon
