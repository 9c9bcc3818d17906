// What the command thread does with a command. Inside this folder and its tests only.
#pragma once

#include "channel/command/cam_cmd_queue.h"
#include "channel/command/command_parts.h"

namespace kvmon {

// Carries a command out and posts the outcome to the cell. Leaves early when the abort flag is set.
void ExecuteCamCmd(const CommandParts& parts, const CamCmd& command);

}  // namespace kvmon
