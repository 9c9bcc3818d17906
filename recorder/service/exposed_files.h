// What others on this machine could read of the recorder's secrets.
#pragma once

#include <string>
#include <vector>

#include "state/recorder_config.h"

namespace kvrecorder {

// A line for each file with passwords that others can read, and each folder of recordings or talks that they
// can look into.
std::vector<std::string> TellExposed(const RecorderConfig& config);

}  // namespace kvrecorder
