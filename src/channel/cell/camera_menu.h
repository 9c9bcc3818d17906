// The part of a camera's pop-up menu that steers it.
#pragma once

#include "channel/base/camera_info.h"
#include "skin/bc_menu.h"

namespace kvmon {

// Appends what the camera can do: the moves and the presets that exist, below an entry each. The entries
// carry the commands of the panel.
void BuildCameraMenu(BCMenu& menu, const CameraInfo& info);

}  // namespace kvmon
