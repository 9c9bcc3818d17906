#include "server/documents/nvr_event.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <iterator>

#include "platform/outside_text.h"
#include "server/documents/server_documents.h"
#include "server/documents/wire_number.h"

namespace kvmon {

namespace {

constexpr std::string_view kInfo = "<info>";
constexpr std::string_view kInfoEnd = "</info>";
constexpr std::string_view kNumber = "<num>";
constexpr std::string_view kLevel = "<level>";
constexpr std::size_t kMaxTag = 60;
constexpr std::size_t kMaxTagText = 2046;

bool Holds(std::string_view line, std::string_view text) {
    return line.find(text) != std::string_view::npos;
}

}  // namespace

std::int64_t ParseEventTime(std::string_view text) {
    constexpr char kSeparators[] = {'-', '-', ' ', ':', ':'};
    std::array<std::int32_t, 6> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::size_t end = i < std::size(kSeparators) ? text.find(kSeparators[i]) : text.size();
        if (end == std::string_view::npos) {
            return 0;
        }
        numbers[i] = WireInt(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    const auto [year, month, day, hour, minute, second] = numbers;
    if (year < 1970 || year > 9999 || month < 1 || month > 12 || day < 1 || day > 31 || hour < 0 ||
        hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 60) {
        return 0;
    }
    std::tm time{};
    time.tm_year = year - 1900;
    time.tm_mon = month - 1;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    time.tm_sec = second;
    return timegm(&time);
}

std::optional<std::string> TagText(std::string_view line, std::string_view tag) {
    if (tag.size() > kMaxTag) {
        return std::nullopt;
    }
    const std::string name(tag);
    const std::size_t begin = line.find("<" + name + ">");
    if (begin == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = line.substr(begin + name.size() + 2);
    const std::size_t length = rest.find("</" + name + ">");
    if (length > kMaxTagText) {
        return std::nullopt;
    }
    return OutsideLine(rest.substr(0, length));
}

std::size_t TakeLatestGroup(const CNvrEventList& list, CNvrEventList* pOut) {
    pOut->clear();
    std::copy_if(list.begin(), list.end(), std::back_inserter(*pOut),
                 [&](const CNvrEvent& event) { return event.m_Time == list.front().m_Time; });
    return pOut->size();
}

bool InsertByTime(CNvrEventList& list, CNvrEvent event) {
    auto place = list.begin();
    for (; place != list.end() && place->m_Time >= event.m_Time; ++place) {
        if (place->IsSame(event)) {
            return false;
        }
    }
    list.insert(place, std::move(event));
    if (list.size() > kMaxEvents) {
        list.pop_back();
    }
    return true;
}

void MergeEvents(CNvrEventList& list, CNvrEventList added) {
    CNvrEventList group;
    if (TakeLatestGroup(list, &group) > 0) {
        const std::int64_t latest = group.front().m_Time;
        for (auto event = added.end(); event != added.begin();) {
            --event;
            if (event->m_Time > latest) {
                break;
            }
            const bool bKnown = event->m_Time < latest ||
                                std::any_of(group.begin(), group.end(),
                                            [&](const CNvrEvent& old) { return old.IsSame(*event); });
            if (bKnown) {
                event = added.erase(event);
            }
        }
    }
    list.insert(list.begin(), std::make_move_iterator(added.begin()), std::make_move_iterator(added.end()));
}

void EventLogParser::AddLine(std::string_view line) {
    line = CText(line);
    switch (m_state) {
        case State::Between:
            if (Holds(line, kInfo)) {
                m_bInfoSeen = true;
                m_nLevel.reset();
                m_strTime.reset();
                m_strContent.reset();
                m_state = State::Inside;
                return;
            }
            if (Holds(line, kNumber)) {
                m_nCount = WireInt(line.substr(std::min(kNumber.size(), line.size())));
            }
            if (m_bInfoSeen) {
                m_state = State::ToEnd;
            }
            return;
        case State::Inside:
            ReadField(line);
            if (m_nLevel && m_strTime && m_strContent) {
                Complete();
            }
            return;
        case State::ToEnd:
            if (Holds(line, kInfoEnd)) {
                m_state = State::Between;
            }
            return;
    }
}

// Each field is taken once.
void EventLogParser::ReadField(std::string_view line) {
    if (const std::size_t at = line.find(kLevel); at != std::string_view::npos && !m_nLevel) {
        m_nLevel = WireInt(line.substr(at + kLevel.size()));
    }
    if (!m_strTime) {
        m_strTime = TagText(line, "date_time");
    }
    if (!m_strContent) {
        m_strContent = TagText(line, "msg");
    }
}

void EventLogParser::Complete() {
    CNvrEvent event;
    event.m_strServer = m_strServer;
    event.m_nLevel = *m_nLevel;
    event.m_strTime = std::move(*m_strTime);
    event.m_strContent = std::move(*m_strContent);
    event.m_Time = ParseEventTime(event.m_strTime);
    m_nLevel.reset();
    m_strTime.reset();
    m_strContent.reset();
    if (event.m_nLevel == kEventDebug) {
        return;  // the next fields of the block make another entry
    }
    m_state = State::ToEnd;
    const bool bKnown = std::any_of(m_known.begin(), m_known.end(), [&](const CNvrEvent& known) {
        return known.m_Time > event.m_Time || known.IsSame(event);
    });
    if (!bKnown) {
        InsertByTime(m_events, std::move(event));
    }
}

}  // namespace kvmon
