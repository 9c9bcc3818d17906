// The picture of the site map.
#pragma once

#include <string>

#include "state/recorder_model.h"

namespace kvrecorder {

// The configured file's bytes, or a drawn plan of the channels; empty if none can be drawn. Throws
// std::runtime_error with the reason if the file cannot be read.
std::string ReadMapPicture(const Snapshot& state);

}  // namespace kvrecorder
