// The threads by which the toolkit paints large areas.
#pragma once

namespace kvmon {

// Starts them and keeps them. The toolkit would start each when an area is to be filled, let it end when it
// is idle, and wait for ever for one that can't be started. False if there is none at all: nothing can be
// painted then. User interface thread, once, with the application object there.
bool HoldPaintThreads();

}  // namespace kvmon
