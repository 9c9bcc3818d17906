// The pause before the next connection of a stream.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/clock.h"

namespace kvmon {

struct ThreadControl;

inline constexpr std::size_t kRequestSize = 640;

// Waits before the next connection: 1 s after fewer than 3 failures in a row, 5 s up to 7, then 15 s. The
// exit event ends it, the abort flag at the next half second.
void WaitForVideoRetry(Clock& clock, ThreadControl& control, std::uint32_t nFailures);

}  // namespace kvmon
