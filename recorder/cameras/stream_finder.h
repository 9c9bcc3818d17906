// Where the pictures of a camera are that tells it by itself.
#pragma once

#include <functional>
#include <string>

#include "media/stream_config.h"

namespace kvrecorder {

// Asks the camera for the address of its stream 0 or 1 and waits for it, on a thread that may; "" for a
// stream that it has not. Throws CameraError.
using StreamFinder =
    std::function<std::string(const NetworkCamera& camera, int stream, const std::function<bool()>& ended)>;

}  // namespace kvrecorder
