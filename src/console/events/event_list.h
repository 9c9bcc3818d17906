// The events of all recorders, as a user sees them. No window in it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "server/documents/nvr_event.h"

namespace kvmon {

// What the event window lets through.
struct EventFilter {
    std::string server;       // empty: all
    std::int32_t nLevel = 0;  // 0: all

    bool Passes(const CNvrEvent& event) const {
        return (server.empty() || server == event.m_strServer) && (nLevel == 0 || nLevel == event.m_nLevel);
    }
};

// 5025 to 5028; a level of no such number counts as information.
std::uint32_t LevelTextId(std::int32_t nLevel);
// A level that a user is told of.
bool IsAlarmLevel(std::int32_t nLevel);

class EventList {
public:
    // Takes a recorder's list as it is now. What was seen and what was cleared stays so. Gives the entries
    // that were not here before.
    CNvrEventList Update(const std::string& server, const CNvrEventList& list);
    // The recorder is no longer watched.
    void Remove(const std::string& server);
    void Clear();

    // Of all recorders, newest first.
    const CNvrEventList& All() const { return m_all; }
    // Marks one entry, or all that pass, as seen. False if none was unseen.
    bool MarkRead(const CNvrEvent& event);
    bool MarkAllRead(const EventFilter& filter);
    std::size_t UnreadCount() const;

private:
    // Entries that were cleared and may be told again: those of the latest second, and all before it.
    struct Cleared {
        std::int64_t nTime = 0;
        CNvrEventList group;
    };

    std::map<std::string, Cleared> m_cleared;
    CNvrEventList m_all;
};

}  // namespace kvmon
