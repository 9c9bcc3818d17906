// The command thread. Inside this folder and its tests only.
#pragma once

#include "channel/command/command_parts.h"

namespace kvmon {

// The command thread's body.
void DoCamCmdLoop(const CommandParts& parts);

}  // namespace kvmon
