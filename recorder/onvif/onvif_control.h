// Cameras of ONVIF as a recorder's channels use them.
#pragma once

#include "cameras/camera_control.h"
#include "cameras/stream_finder.h"
#include "onvif/onvif_timing.h"

namespace kvrecorder {

// Of each camera two threads wait: one gives it orders, one takes what it tells. At the maker's end they are
// waited for a little.
CameraControlMaker CreateOnvifControlMaker(const OnvifTiming& timing = {});

StreamFinder CreateOnvifStreamFinder();

}  // namespace kvrecorder
