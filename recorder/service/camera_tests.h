// What can be found out about cameras that are not served, joined from where each is done.
#pragma once

#include "api/camera_tools.h"
#include "cameras/camera_probe.h"
#include "onvif/camera_search.h"

namespace kvrecorder {

// Searches as told; the time is that of each search.
CameraTools MakeCameraTools(const SearchSetup& search = {});

// As ProbeCamera; a camera that tells the addresses of its streams itself is asked for them first.
CameraReport ProbeAnyCamera(const NetworkCamera& camera, std::chrono::milliseconds limit,
                            const std::function<bool()>& ended);

}  // namespace kvrecorder
