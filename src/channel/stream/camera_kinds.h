// The kinds of camera that there are. For the channel's folders and their tests only.
#pragma once

namespace kvmon {

class CameraKind;
struct CameraSettings;

// The kind that a recorder's record of a channel asks for.
const CameraKind& KindFor(const CameraSettings& settings);

}  // namespace kvmon
