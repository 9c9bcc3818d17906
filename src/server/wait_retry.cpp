#include "server/wait_retry.h"

#include "platform/retry_pause.h"

namespace kvmon {

namespace {

constexpr Milliseconds kRetryRound{500};

int RetryRounds(std::uint32_t nErrorCount) {
    return static_cast<int>(RetryPause(nErrorCount) / kRetryRound);
}

}  // namespace

bool WaitRetry(Clock& clock, Event& event, const FlagWord& flag,
               const std::atomic<std::uint32_t>& nErrorCount, std::atomic<std::uint64_t>* pnEndsAt) {
    bool set = clock.Wait(event, Milliseconds(0));
    for (int i = 0; i < RetryRounds(nErrorCount) && flag == 0 && !set; ++i) {
        if (pnEndsAt != nullptr) {
            const Milliseconds left = (RetryRounds(nErrorCount) - i) * kRetryRound;
            *pnEndsAt = clock.TickMs() + static_cast<std::uint64_t>(left.count());
        }
        set = clock.Wait(event, kRetryRound);
    }
    if (pnEndsAt != nullptr) {
        *pnEndsAt = 0;
    }
    return set;
}

}  // namespace kvmon
