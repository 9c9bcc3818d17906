// How many connections the limit of open files carries.
#pragma once

#include <cstddef>
#include <string>

#include "state/recorder_config.h"

namespace kvrecorder {

// Raises the process's limit of open files as far as it may; gives it.
std::size_t RaiseFileLimit();
// Lowers the configuration's connections to what `files` carry beside the files of its channels. "" or words
// for the user; throws ConfigError if they carry too few.
std::string FitConnections(RecorderConfig& config, std::size_t files);

}  // namespace kvrecorder
