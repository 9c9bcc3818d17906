// The picture of the site map.
#pragma once

#include <string>

#include "state/recorder_model.h"

namespace kvrecorder {

// The configured file's bytes, or a drawn plan of the channels; empty if there is none.
std::string ReadMapPicture(const Snapshot& state);

}  // namespace kvrecorder
