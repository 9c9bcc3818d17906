// How full the disk is.
#pragma once

#include "state/recorder_config.h"

namespace kvrecorder {

// The figures of the file system that holds the disk folder, or those of the fault that is configured.
DiskFigures ReadDiskFigures(const ServerConfig& server);

}  // namespace kvrecorder
