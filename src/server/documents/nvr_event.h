// The entries of a recorder's event log, and the rules by which lists of them grow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

// Levels, as the recorder numbers them.
inline constexpr std::int32_t kEventInformation = 1;
inline constexpr std::int32_t kEventWarning = 2;
inline constexpr std::int32_t kEventError = 3;
inline constexpr std::int32_t kEventDebug = 4;  // never kept
inline constexpr std::size_t kMaxEvents = 255;

struct CNvrEvent {
    std::string m_strServer;  // the settings section of the recorder
    bool m_bRead = false;
    std::string m_strContent;
    std::int64_t m_Time = 0;  // seconds on the recorder's wall clock; 0 for a text that is no time
    std::int32_t m_nLevel = -1;
    std::string m_strTime;

    // Whether a user has seen it makes no other entry of it.
    bool IsSame(const CNvrEvent& other) const {
        return m_Time == other.m_Time && m_nLevel == other.m_nLevel && m_strContent == other.m_strContent &&
               m_strServer == other.m_strServer;
    }
};

// Newest first.
using CNvrEventList = std::vector<CNvrEvent>;

// "2024-01-31 12:59:59", the numbers of any length; 0 for anything else.
std::int64_t ParseEventTime(std::string_view text);
// The text between "<tag>" and "</tag>" of one line, as UTF-8. Nothing if it is not there, or has 2047 bytes
// and more.
std::optional<std::string> TagText(std::string_view line, std::string_view tag);

// Copies the first entry and all of the same time. Gives their number.
std::size_t TakeLatestGroup(const CNvrEventList& list, CNvrEventList* pOut);
// Adds an entry where its time puts it, ahead of the first older one. False if it is there already. What
// passes kMaxEvents falls off the end.
bool InsertByTime(CNvrEventList& list, CNvrEvent event);
// Puts `added` at the head of the list. What is older than the list's first entries, or one of them, is left
// out.
void MergeEvents(CNvrEventList& list, CNvrEventList added);

// Reads the body of the log's document, line by line.
class EventLogParser {
public:
    // Entries that `known` has, or that are older than its first, are left out.
    EventLogParser(std::string strServer, CNvrEventList known)
        : m_strServer(std::move(strServer)), m_known(std::move(known)) {}

    void AddLine(std::string_view line);
    // The number that the recorder told, -1 if none came: the document is no log then.
    std::int32_t GetCount() const { return m_nCount; }
    CNvrEventList TakeEvents() { return std::move(m_events); }

private:
    enum class State { Between, Inside, ToEnd };

    void ReadField(std::string_view line);
    void Complete();

    const std::string m_strServer;
    const CNvrEventList m_known;
    State m_state = State::Between;
    bool m_bInfoSeen = false;
    std::int32_t m_nCount = -1;
    std::optional<std::int32_t> m_nLevel;
    std::optional<std::string> m_strTime;
    std::optional<std::string> m_strContent;
    CNvrEventList m_events;
};

}  // namespace kvmon
