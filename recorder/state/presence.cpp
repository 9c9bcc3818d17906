#include "state/presence.h"

namespace kvrecorder {

bool Presence::Arrive(const std::string& who, Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    // Those who have left make room, so that many addresses do not pile up.
    std::erase_if(entries_, [&](const auto& entry) { return Gone(entry.second, now); });
    Entry& entry = entries_[who];
    entry.last = now;
    return !std::exchange(entry.arrived, true);
}

void Presence::OpenLine(const std::string& who) {
    const std::lock_guard lock(mutex_);
    ++entries_[who].lines;
}

void Presence::CloseLine(const std::string& who, Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    const auto entry = entries_.find(who);
    if (entry == entries_.end()) {
        return;
    }
    entry->second.last = now;
    entry->second.lines -= entry->second.lines > 0 ? 1 : 0;
}

bool Presence::Leave(const std::string& who) {
    const std::lock_guard lock(mutex_);
    return entries_.erase(who) != 0;
}

}  // namespace kvrecorder
