#include "channel/stream/stream_retry.h"

#include "channel/base/channel_thread.h"

namespace kvmon {

namespace {

constexpr Milliseconds kRetryRound{500};

}  // namespace

void WaitForVideoRetry(Clock& clock, ThreadControl& control, std::uint32_t nFailures) {
    const int rounds = nFailures < 3 ? 2 : nFailures < 8 ? 10 : 30;
    for (int i = 0; i < rounds && control.abort == 0; ++i) {
        if (clock.Wait(control.exit, kRetryRound)) {
            return;
        }
    }
}

}  // namespace kvmon
