// The one place that knows what cameras may speak.
#pragma once

#include <memory>
#include <string>

#include "cameras/camera_input.h"
#include "cameras/reader_choice.h"

namespace kvrecorder {

// Opens the stream of this address by what its scheme tells. `choice` is the source's. Throws CameraError:
// the camera cannot be reached, refuses, or has no pictures that can be passed on.
std::unique_ptr<CameraInput> OpenCameraInput(const NetworkCamera& camera, const std::string& url,
                                             bool withSound, InputLimit& limit, ReaderChoice& choice);

}  // namespace kvrecorder
