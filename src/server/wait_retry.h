// The pause before a recorder is tried again.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/clock.h"
#include "platform/worker.h"

namespace kvmon {

// Waits 0 ms, then rounds of 500 ms until the event is set, the flag is set, or the count's limit is
// reached: 2 rounds below 3 failures, 10 up to 7, 30 from 8 on. True if the event ended the wait. The count
// may rise meanwhile: the console counts a failure when its message arrives, and a refused connection is back
// here before that. `pnEndsAt` tells meanwhile when the wait will end, as a time of the clock; it is 0 again
// afterwards.
bool WaitRetry(Clock& clock, Event& event, const FlagWord& flag,
               const std::atomic<std::uint32_t>& nErrorCount, std::atomic<std::uint64_t>* pnEndsAt = nullptr);

}  // namespace kvmon
