// What is wrong with a camera, in words for whoever looks after it.
#pragma once

#include <stdexcept>

namespace kvrecorder {

class CameraError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace kvrecorder
