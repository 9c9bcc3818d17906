// What --probe tells of a camera.
#pragma once

#include <iosfwd>

#include "service/options.h"

namespace kvrecorder {

// Watches the camera of `--probe` for some seconds and writes what it is, with what is wrong in the last
// lines. Of a camera that cannot be watched `errors` gets one line that says why: that gives false.
bool ProbeForTerminal(const Options& options, std::ostream& out, std::ostream& errors);

}  // namespace kvrecorder
