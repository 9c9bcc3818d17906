// Where the pictures of a camera are that tells it by itself.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "media/stream_config.h"

namespace kvrecorder {

struct FoundStream {
    std::string url;                       // "": the camera has no such stream
    std::optional<StreamDescription> sub;  // of its stream 1, as far as it tells that beforehand
};

// Asks the camera for the address of its stream 0 or 1 and waits for it, on a thread that may. Throws
// CameraError.
using StreamFinder =
    std::function<FoundStream(const NetworkCamera& camera, int stream, const std::function<bool()>& ended)>;

}  // namespace kvrecorder
