// How long cameras of ONVIF are waited for.
#pragma once

#include <chrono>

#include "cameras/camera_timing.h"

namespace kvrecorder {

struct OnvifTiming {
    CameraTiming camera;                        // the pauses before each attempt
    std::chrono::milliseconds order{5'000};     // an order that waits longer is given up
    std::chrono::milliseconds tour{6'000};      // at each preset
    std::chrono::milliseconds pull{20'000};     // a camera without news answers then
    std::chrono::seconds subscription{60};      // it lasts so long unless it is renewed
    std::chrono::milliseconds passing{10'000};  // what nothing tells the end of
};

}  // namespace kvrecorder
