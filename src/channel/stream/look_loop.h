// Looks for a camera that gave way to the recorder. For the channel's folders and their tests only.
#pragma once

#include <memory>

namespace kvmon {

class FrameBudget;
class StreamReports;
class StreamSource;
struct ThreadControl;

// Looks whether the camera gives pictures, by any of its ways, and takes the way that does. Nothing of it is
// shown.
bool LookForCamera(StreamSource& source, const std::shared_ptr<FrameBudget>& budget, ThreadControl& control);

// The look thread's body.
void DoLookLoop(StreamSource& source, const std::shared_ptr<FrameBudget>& budget, StreamReports& reports,
                ThreadControl& control);

}  // namespace kvmon
