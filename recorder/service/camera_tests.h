// What can be found out about cameras that are not served, joined from where each is done.
#pragma once

#include "api/camera_tools.h"
#include "cameras/camera_probe.h"

namespace kvrecorder {

CameraTools MakeCameraTools();

// As ProbeCamera; a camera that tells the addresses of its streams itself is asked for them first.
CameraReport ProbeAnyCamera(const NetworkCamera& camera, std::chrono::milliseconds limit,
                            const std::function<bool()>& ended);

}  // namespace kvrecorder
