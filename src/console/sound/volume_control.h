// The desktop's own mixer.
#pragma once

namespace kvmon {

// Starts the first mixer that this desktop has. False if there is none.
bool OpenVolumeControl();

}  // namespace kvmon
