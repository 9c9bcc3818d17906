#include "channel/base/channel_counters.h"

namespace kvmon {

namespace {

constexpr std::uint64_t kUndecodedMs = 5000;
// Longer than a stream's next try waits.
constexpr std::uint64_t kOtherStreamMs = 20000;

}  // namespace

bool ChannelCounters::HasNoneDecoded(std::uint64_t nowMs) {
    const std::uint64_t before = m_nLastReceived.exchange(nowMs);
    if (nowMs - before > kOtherStreamMs) {
        m_nUndecoded = 0;
    }
    if (++m_nUndecoded == 1) {
        m_nUndecodedSince = nowMs;
        return false;
    }
    // A decoder may hold two pictures back for their order.
    if (m_nUndecoded <= 2 || m_bNeedsLibrary || nowMs - m_nUndecodedSince < kUndecodedMs) {
        return false;
    }
    m_nUndecodedSince = nowMs;
    return true;
}

}  // namespace kvmon
