#include "channel/camera/onlookers.h"

#include <utility>

#include "channel/base/channel_globals.h"
#include "channel/base/channel_windows.h"
#include "channel/frames/frame_queue.h"

namespace kvmon {

void Onlookers::SetSeen(bool bSeen) {
    const std::lock_guard lock(m_cs);
    m_bSeen = bSeen;
}

void Onlookers::WaitForPicture(std::function<void()> call) {
    const std::lock_guard lock(m_cs);
    m_waiting.push_back(std::move(call));
    m_bWaiting = true;
}

bool Onlookers::OnPicture() {
    if (!m_bWaiting.exchange(false)) {
        return false;
    }
    std::vector<std::function<void()>> waiting;
    {
        const std::lock_guard lock(m_cs);
        waiting.swap(m_waiting);
    }
    for (const auto& call : waiting) {
        call();
    }
    return true;
}

bool Onlookers::Refresh() {
    const std::lock_guard lock(m_cs);
    const bool bUnseen =
        !m_bSeen && m_bStreamRunning && m_waiting.empty() && !m_windows.IsAwaited() && Globals().keepUnseen;
    const bool bWas = m_frames.IsUnseen();
    m_frames.SetUnseen(bUnseen);
    return bWas && !bUnseen;
}

}  // namespace kvmon
