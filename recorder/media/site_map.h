// A plan of a site with its cameras.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kvrecorder {

// A JPEG picture with the cameras around a building, each with its number and name; an empty name leaves
// out the camera. Empty when memory is short.
std::vector<std::uint8_t> DrawSiteMap(const std::vector<std::string>& names);

}  // namespace kvrecorder
