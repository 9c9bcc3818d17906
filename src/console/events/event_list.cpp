#include "console/events/event_list.h"

#include <algorithm>

namespace kvmon {

namespace {

bool Contains(const CNvrEventList& list, const CNvrEvent& event) {
    return std::any_of(list.begin(), list.end(), [&](const CNvrEvent& other) { return other.IsSame(event); });
}

}  // namespace

std::uint32_t LevelTextId(std::int32_t nLevel) {
    constexpr std::uint32_t kFirstText = 5025;
    return kFirstText +
           static_cast<std::uint32_t>(nLevel >= kEventInformation && nLevel <= kEventDebug ? nLevel - 1 : 0);
}

bool IsAlarmLevel(std::int32_t nLevel) {
    return nLevel == kEventWarning || nLevel == kEventError;
}

CNvrEventList EventList::Update(const std::string& server, const CNvrEventList& list) {
    CNvrEventList before;
    const auto ours = std::stable_partition(
        m_all.begin(), m_all.end(), [&](const CNvrEvent& event) { return event.m_strServer != server; });
    before.assign(std::make_move_iterator(ours), std::make_move_iterator(m_all.end()));
    m_all.erase(ours, m_all.end());

    const auto cleared = m_cleared.find(server);
    CNvrEventList fresh;
    for (CNvrEvent event : list) {
        if (cleared != m_cleared.end() &&
            (event.m_Time < cleared->second.nTime || Contains(cleared->second.group, event))) {
            continue;
        }
        const auto known = std::find_if(before.begin(), before.end(),
                                        [&](const CNvrEvent& old) { return old.IsSame(event); });
        event.m_bRead = known != before.end() && known->m_bRead;
        if (known == before.end()) {
            fresh.push_back(event);
        }
        m_all.push_back(std::move(event));
    }
    std::stable_sort(m_all.begin(), m_all.end(),
                     [](const CNvrEvent& a, const CNvrEvent& b) { return a.m_Time > b.m_Time; });
    return fresh;
}

void EventList::Remove(const std::string& server) {
    std::erase_if(m_all, [&](const CNvrEvent& event) { return event.m_strServer == server; });
    m_cleared.erase(server);
}

void EventList::Clear() {
    // The entries are in order: the first one of a recorder is its latest.
    std::map<std::string, Cleared> latest;
    for (const CNvrEvent& event : m_all) {
        Cleared& cleared = latest[event.m_strServer];
        if (cleared.group.empty() || cleared.nTime == event.m_Time) {
            cleared.nTime = event.m_Time;
            cleared.group.push_back(event);
        }
    }
    for (auto& [server, cleared] : latest) {
        m_cleared[server] = std::move(cleared);
    }
    m_all.clear();
}

bool EventList::MarkRead(const CNvrEvent& event) {
    for (CNvrEvent& own : m_all) {
        if (!own.m_bRead && own.IsSame(event)) {
            own.m_bRead = true;
            return true;
        }
    }
    return false;
}

bool EventList::MarkAllRead(const EventFilter& filter) {
    bool bChanged = false;
    for (CNvrEvent& event : m_all) {
        if (!event.m_bRead && filter.Passes(event)) {
            event.m_bRead = true;
            bChanged = true;
        }
    }
    return bChanged;
}

std::size_t EventList::UnreadCount() const {
    return static_cast<std::size_t>(
        std::count_if(m_all.begin(), m_all.end(), [](const CNvrEvent& event) { return !event.m_bRead; }));
}

}  // namespace kvmon
