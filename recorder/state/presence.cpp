#include "state/presence.h"

#include <utility>

namespace kvrecorder {

bool Presence::Arrive(const std::string& who, Clock::time_point now) {
    const std::lock_guard lock(m_mutex);
    // Those who have left make room, so that many addresses do not pile up.
    std::erase_if(m_entries, [&](const auto& entry) { return Gone(entry.second, now); });
    Entry& entry = m_entries[who];
    entry.last = now;
    return !std::exchange(entry.arrived, true);
}

void Presence::OpenLine(const std::string& who) {
    const std::lock_guard lock(m_mutex);
    ++m_entries[who].lines;
}

void Presence::CloseLine(const std::string& who, Clock::time_point now) {
    const std::lock_guard lock(m_mutex);
    const auto entry = m_entries.find(who);
    if (entry == m_entries.end()) {
        return;
    }
    entry->second.last = now;
    entry->second.lines -= entry->second.lines > 0 ? 1 : 0;
}

bool Presence::Leave(const std::string& who) {
    const std::lock_guard lock(m_mutex);
    return m_entries.erase(who) != 0;
}

}  // namespace kvrecorder
