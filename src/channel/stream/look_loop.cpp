#include "channel/stream/look_loop.h"

#include "channel/base/channel_thread.h"
#include "channel/source/stream_source.h"
#include "channel/stream/stream_reports.h"
#include "channel/stream/video_loop.h"

namespace kvmon {

bool LookForCamera(StreamSource& source, const std::shared_ptr<FrameBudget>& budget, ThreadControl& control) {
    const std::uint32_t first = source.m_nNetworkSettingIdx & 1;
    for (const std::uint32_t way : {first, first ^ 1}) {
        if (!source.HasWay(way)) {
            continue;
        }
        // A channel that nobody sees.
        StreamSource look(source, way);
        if (GivesPictures(look, budget, control)) {
            source.m_nNetworkSettingIdx = way;
            return true;
        }
        if (control.abort != 0) {
            return false;
        }
    }
    return false;
}

void DoLookLoop(StreamSource& source, const std::shared_ptr<FrameBudget>& budget, StreamReports& reports,
                ThreadControl& control) {
    CameraTrial& trial = source.m_trial;
    while (WaitForRun("DoLookLoop", source.clock, source.m_uCHInMainDlg, control)) {
        if (!trial.IsGone()) {
            control.run.Reset();
            if (trial.IsGone()) {
                control.run.Set();
            }
            continue;
        }
        if (const std::uint64_t wait = trial.GetWait(source.clock)) {
            source.clock.Wait(control.exit, Milliseconds(static_cast<std::int64_t>(wait)));
            continue;
        }
        bool bThere = false;
        TryStep("CBaseCamera::DoLookLoop", [&] { bThere = LookForCamera(source, budget, control); });
        if (control.abort != 0 || !trial.IsGone()) {
            continue;  // nobody watches any more, or the user was faster
        }
        if (bThere) {
            trial.Reset();
            TryStep("CBaseCamera::RestartPlaying", [&] { reports.RestartPlaying(); });
        } else {
            trial.Fail(source.clock);
        }
    }
}

}  // namespace kvmon
