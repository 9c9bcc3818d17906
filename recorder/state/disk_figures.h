// How full the disk is.
#pragma once

#include "state/recorder_config.h"

namespace kvrecorder {

// Of the file system that holds the disk folder, or of what the disk is made out to be.
DiskFigures ReadDiskFigures(const ServerConfig& server);

}  // namespace kvrecorder
