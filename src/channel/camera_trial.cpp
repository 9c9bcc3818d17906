#include "channel/camera_trial.h"

#include <algorithm>

#include "channel/channel_core.h"
#include "channel/video_loop.h"
#include "codec/jpeg_codec.h"

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

CameraPatience::CameraPatience(ChannelCore& core, bool bHalf)
    : m_core(core),
      m_nDecodedBefore(core.m_nDecoded),
      m_nLimit(bHalf ? CameraTrial::kPatienceMs / 2 : CameraTrial::kPatienceMs),
      m_nReceived(core.m_nReceived),
      m_nSince(core.m_trial.BeginWait(core.clock)) {}

bool CameraPatience::HasDelivered() {
    if (!m_bDelivered && m_core.m_nDecoded != m_nDecodedBefore) {
        m_bDelivered = true;
        m_core.m_trial.EndWait();
        m_nReceived = m_core.m_nReceived;
        m_nSince = m_nDeliveredSince = m_core.clock.TickMs();
        m_nIdle = 0;
    }
    return m_bDelivered;
}

bool CameraPatience::IsOver(std::uint64_t nIdleMs) {
    m_nIdle += nIdleMs;
    const std::uint64_t now = m_core.clock.TickMs();
    if (HasDelivered() && m_core.m_nReceived != m_nReceived) {
        m_nReceived = m_core.m_nReceived;
        m_nSince = now;
        m_nIdle = 0;
    }
    const std::uint64_t limit = m_bDelivered ? CameraTrial::kPatienceMs : m_nLimit;
    m_bEnded = m_bEnded || std::max(m_nIdle, now - m_nSince) >= limit;
    return m_bEnded;
}

std::uint64_t CameraPatience::GetDeliveredMs() const {
    return m_bDelivered ? m_core.clock.TickMs() - m_nDeliveredSince : 0;
}

bool LookForCamera(ChannelCore& core, ThreadControl& control) {
    const std::uint32_t first = core.m_nNetworkSettingIdx & 1;
    for (const std::uint32_t way : {first, first ^ 1}) {
        // A channel that nobody sees.
        ChannelCore look(core.clock, core.kind);
        {
            const std::lock_guard lock(core.m_cs);
            look.m_settings = core.m_settings;
            look.m_lpszCamBase64Auth = core.m_lpszCamBase64Auth.View();
        }
        if (!look.m_settings.m_NetworkSetting[way].HasAddress()) {
            continue;
        }
        look.m_uCHInMainDlg = core.m_uCHInMainDlg.load();
        look.m_uCHInKelvara = core.m_uCHInKelvara.load();
        look.m_nStreamFrom = 2;
        look.m_nNetworkSettingIdx = way;
        if (GivesPictures(look, control)) {
            core.m_nNetworkSettingIdx = way;
            return true;
        }
        if (control.abort != 0) {
            return false;
        }
    }
    return false;
}

void DoLookLoop(const std::shared_ptr<ChannelCore>& core, ThreadControl& control) {
    while (WaitForRun("DoLookLoop", *core, control)) {
        if (!core->m_trial.IsGone()) {
            control.run.Reset();
            if (core->m_trial.IsGone()) {
                control.run.Set();
            }
            continue;
        }
        if (const std::uint64_t wait = core->m_trial.GetWait(core->clock)) {
            core->clock.Wait(control.exit, Milliseconds(static_cast<std::int64_t>(wait)));
            continue;
        }
        const bool bThere = LookForCamera(*core, control);
        if (control.abort != 0 || !core->m_trial.IsGone()) {
            continue;  // nobody watches any more, or the user was faster
        }
        if (bThere) {
            core->m_trial.Reset();
            core->RestartPlaying();
        } else {
            core->m_trial.Fail(core->clock);
        }
    }
}

}  // namespace kvmon
