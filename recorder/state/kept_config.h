// What vanished from the configuration file between two readings.
#pragma once

#include <string>
#include <vector>

#include "state/recorder_config.h"

namespace kvrecorder {

// Users and channels that the file had `before` and has no more are added to `next` for this one reading;
// those that were kept so already are not. Gives a line for each of both.
std::vector<std::string> KeepVanished(const RecorderConfig& before, RecorderConfig& next);

}  // namespace kvrecorder
