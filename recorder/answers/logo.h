// The recorder's own picture.
#pragma once

#include <string>

namespace kvrecorder {

// A JPEG picture, drawn at the first call. Empty if it could not be made.
const std::string& LogoJpeg();

}  // namespace kvrecorder
