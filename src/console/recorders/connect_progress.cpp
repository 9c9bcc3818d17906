#include "console/recorders/connect_progress.h"

#include "console/panel/console_controls.h"
#include "console/ports/commands.h"
#include "console/ports/desk.h"
#include "console/settings/fill_pattern.h"
#include "console/wall/live_count.h"
#include "persist/plural.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrProgress = 7421;
constexpr int kMany = 4;           // cameras; fewer are no long work
constexpr int kShownFrom = 2;      // seconds
constexpr int kLongestStill = 20;  // seconds

}  // namespace

void ConnectProgress::OnSecond() {
    if (m_bOver || !m_desk.IsLoggedIn()) {
        return;
    }
    const LiveCount count = CountLive(m_cells);
    if (count.shown == 0) {
        return;  // not known yet
    }
    ++m_seconds;
    m_still = count.live > m_live ? 0 : m_still + 1;
    m_live = count.live;
    if (count.shown < kMany || count.live >= count.shown || m_still >= kLongestStill) {
        End();
    } else if (m_seconds >= kShownFrom) {
        const std::string text =
            FillPattern(LoadPlural(kStrProgress, static_cast<std::uint64_t>(count.shown)),
                        {std::to_string(count.live), std::to_string(count.shown)});
        m_box.Show(text, count.live, count.shown, [this] {
            End();
            m_commands.Press(kCtlLogout);
        });
    }
}

void ConnectProgress::End() {
    m_bOver = true;
    m_box.Hide();
}

void ConnectProgress::Stop() {
    m_box.Hide();
    m_bOver = false;
    m_seconds = 0;
    m_live = 0;
    m_still = 0;
}

}  // namespace kvmon
