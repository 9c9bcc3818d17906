// A camera on the network as a channel's source.
#pragma once

#include "cameras/camera_timing.h"
#include "cameras/stream_finder.h"
#include "media/picture_source.h"

namespace kvrecorder {

// For a hub. Its end waits a little for the threads of the sources that it made, which must have been told to
// end.
CameraSourceMaker CreateCameraSourceMaker(const CameraTiming& timing = {}, StreamFinder finder = nullptr);

}  // namespace kvrecorder
