// What happened, for clients that ask.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace kvrecorder {

enum class EventLevel { Information = 1, Warning = 2, Error = 3, Debug = 4 };

struct Event {
    std::chrono::system_clock::time_point time;
    EventLevel level;
    std::string text;  // fit for a line of a document
};

// Keeps the latest; any thread.
class EventLog {
public:
    using TimePoint = std::chrono::system_clock::time_point;
    static constexpr std::size_t kMost = 1000;
    // The most events of one reply; clients keep no more.
    static constexpr std::size_t kMostTold = 255;
    static constexpr std::size_t kMostRefusals = 50;

    explicit EventLog(std::function<TimePoint()> now = std::chrono::system_clock::now)
        : m_now(std::move(now)) {}

    // A refused login. Of these the last few are kept beside the others, so that they cannot wash those out.
    void AddRefusal(std::string_view text);
    // Left out if the same was told within the last `quiet` time, so that none floods the log. Text from
    // outside loses what would break a line.
    void Add(EventLevel level, std::string_view text, std::chrono::seconds quiet = {});
    // The events of the last `age`, the newest first.
    std::vector<Event> Latest(std::chrono::seconds age) const;

private:
    const std::function<TimePoint()> m_now;
    mutable std::mutex m_mutex;
    std::deque<Event> m_events;
    std::deque<Event> m_refusals;
};

// The document: a count, then a block for each event.
std::string MakeEventDocument(const std::vector<Event>& events);

}  // namespace kvrecorder
