#include "channel/source/camera_trial.h"

#include <algorithm>

#include "channel/base/channel_counters.h"

namespace kvmon {

namespace {

std::uint32_t Seconds(Clock& clock) {
    const auto since = clock.Now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::seconds>(since).count());
}

}  // namespace

void CameraTrial::Fail(Clock& clock) {
    m_nFailedAt = Seconds(clock);
    m_nNextLook = clock.TickMs() + kAgainMs;
    m_bGone = true;
    m_nWaitStart = 0;
    m_nWays = 0;
}

void CameraTrial::Reset() {
    m_bGone = false;
    m_nWaitStart = 0;
    m_nWays = 0;
}

std::uint64_t CameraTrial::GetWait(Clock& clock) const {
    const std::uint64_t now = clock.TickMs();
    const std::uint64_t next = m_nNextLook;
    return next > now ? next - now : 0;
}

void CameraTrial::Restore(std::uint32_t nFailedAt, Clock& clock) {
    if (nFailedAt == 0) {
        return;
    }
    const std::uint32_t now = Seconds(clock);
    const std::uint64_t passed = nFailedAt <= now ? std::uint64_t{now - nFailedAt} * 1000 : kAgainMs;
    m_nFailedAt = nFailedAt;
    m_nNextLook = clock.TickMs() + kAgainMs - std::min(passed, kAgainMs);
    m_bGone = true;
}

std::uint64_t CameraTrial::BeginWait(Clock& clock) {
    std::uint64_t start = 0;
    const std::uint64_t now = std::max<std::uint64_t>(clock.TickMs(), 1);
    if (m_nWaitStart.compare_exchange_strong(start, now)) {
        m_nWays = 0;
        return now;
    }
    return start;
}

CameraPatience::CameraPatience(const ChannelCounters& counters, CameraTrial& trial, Clock& clock, Ways ways)
    : m_counters(counters),
      m_trial(trial),
      m_clock(clock),
      m_nTakenBefore(counters.GetTaken()),
      m_nLimit(ways == Ways::Two ? CameraTrial::kPatienceMs / 2 : CameraTrial::kPatienceMs),
      m_nReceived(counters.m_nReceived),
      m_nSince(trial.BeginWait(clock)) {}

bool CameraPatience::HasDelivered() {
    if (!m_bDelivered && m_counters.GetTaken() != m_nTakenBefore) {
        m_bDelivered = true;
        m_trial.EndWait();
        m_nReceived = m_counters.m_nReceived;
        m_nSince = m_nDeliveredSince = m_clock.TickMs();
        m_nIdle = 0;
    }
    return m_bDelivered;
}

bool CameraPatience::IsOver(std::uint64_t nIdleMs) {
    m_nIdle += nIdleMs;
    const std::uint64_t now = m_clock.TickMs();
    if (HasDelivered() && m_counters.m_nReceived != m_nReceived) {
        m_nReceived = m_counters.m_nReceived;
        m_nSince = now;
        m_nIdle = 0;
    }
    const std::uint64_t limit = m_bDelivered ? CameraTrial::kPatienceMs : m_nLimit;
    m_bEnded = m_bEnded || std::max(m_nIdle, now - m_nSince) >= limit;
    return m_bEnded;
}

std::uint64_t CameraPatience::GetDeliveredMs() const {
    return m_bDelivered ? m_clock.TickMs() - m_nDeliveredSince : 0;
}

}  // namespace kvmon
