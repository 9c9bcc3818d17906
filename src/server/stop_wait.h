// How the end of a thread is waited for.
#pragma once

namespace kvmon {

// For a moment at most, after which it may still run; or until it has ended, as far as it does in its time.
enum class StopWait { Brief, ToTheEnd };

}  // namespace kvmon
