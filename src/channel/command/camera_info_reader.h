// Reading what a camera can do. Inside this folder and its tests only.
#pragma once

#include <functional>

#include "channel/command/cam_cmd_queue.h"
#include "channel/command/command_parts.h"

namespace kvmon {

// Reads what the camera can do. A change is believed when two reads in a row tell of one; five failed rounds
// leave all as it was, and some failures are tried again for ever. The commands that come meanwhile are
// carried out between two rounds.
void GetCameraInfoFromKelvara(const CommandParts& parts, const std::function<void(const CamCmd&)>& carryOut);

// Reads how the recorder takes presets, once; a failure leaves what was known.
void GetPresetCapacityFromKelvara(const CommandParts& parts);

}  // namespace kvmon
