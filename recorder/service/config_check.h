// What can be told of a configuration before anything is started with it.
#pragma once

#include <string>
#include <vector>

#include "state/recorder_config.h"

namespace kvrecorder {

// A line for each thing that is wrong or unwise in a complete configuration that was read from a file: rights
// to channels that it has not, folders that cannot be written, passwords and recordings that others of this
// machine can read.
std::vector<std::string> CheckConfig(const RecorderConfig& config);

}  // namespace kvrecorder
