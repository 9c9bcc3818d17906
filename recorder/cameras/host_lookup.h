// The look-up of a host's name, which nothing can end once it has begun.
#pragma once

#include <string>

#include "cameras/camera_input.h"

namespace kvrecorder {

// For what looks up names by itself, and would not tell that there is no such one. Throws CameraError then,
// and when the limit ends before that is known: a thread of its own asks, and is left alone.
void CheckHostIsKnown(const std::string& host, InputLimit& limit);

}  // namespace kvrecorder
