// Looks for a camera that gave way to the recorder. For the channel's folders and their tests only.
#pragma once

namespace kvmon {

class StreamReports;
class StreamSource;
struct ThreadControl;

// Looks whether the camera gives pictures, by any of its ways, and takes the way that does. Nothing of it is
// shown.
bool LookForCamera(StreamSource& source, ThreadControl& control);

// The look thread's body.
void DoLookLoop(StreamSource& source, StreamReports& reports, ThreadControl& control);

}  // namespace kvmon
