// What the recorder tells of a channel's present state.
#include <utility>

#include "channel/camera/base_camera.h"
#include "channel/camera/channel_core.h"

namespace kvmon {

bool CBaseCamera::SetStatusFlags(const StatusFlags& flags) {
    StatusFlags before{};
    bool bChanged = false;
    {
        const std::lock_guard lock(m_core->m_cs);
        before = std::exchange(m_core->m_statusFlags, flags);
        bChanged = !std::exchange(m_core->m_bStatusTold, true) || before != flags;
    }
    for (std::size_t i = 0; i < kStatusFlagCount; ++i) {
        const auto flag = static_cast<StatusFlag>(i);
        if (StartsHighlight(flag) && flags[i] != 0 && before[i] == 0) {
            m_core->m_picture.StartEventHighlight(EventKindOf(flag));
        }
    }
    return bChanged;
}

StatusFlags CBaseCamera::GetStatusFlags() const {
    const std::lock_guard lock(m_core->m_cs);
    return m_core->m_bStatusTold ? m_core->m_statusFlags : StatusFlags{};
}

bool CBaseCamera::SetManualRecording(bool bManual) {
    const std::lock_guard lock(m_core->m_cs);
    return std::exchange(m_core->m_bManualRecording, bManual) != bManual;
}

bool CBaseCamera::IsManualRecording() const {
    const std::lock_guard lock(m_core->m_cs);
    return m_core->m_bStatusTold && m_core->m_bManualRecording;
}

// The flags stay for comparison: what was on before and is on afterwards has not risen.
bool CBaseCamera::ForgetStatus() {
    const std::lock_guard lock(m_core->m_cs);
    return std::exchange(m_core->m_bStatusTold, false);
}

bool CBaseCamera::IsStatusTold() const {
    const std::lock_guard lock(m_core->m_cs);
    return m_core->m_bStatusTold;
}

}  // namespace kvmon
