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

// What an event is about, for those who look for it by that; what does not apply is left as it is.
struct EventSubject {
    std::string name;  // as "sign-in"; lower case and hyphens
    int channel = -1;
    std::string user;
    std::string address;
};

// Keeps the latest; any thread.
class EventLog {
public:
    // Gets the text fit for a line, on the thread that the event comes from.
    using Teller =
        std::function<void(EventLevel level, const std::string& text, const EventSubject& subject)>;

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
    void Add(EventLevel level, std::string_view text, std::chrono::seconds quiet = {},
             const EventSubject& subject = {});
    // For whoever looks after the machine alone.
    void Tell(EventLevel level, std::string_view text, const EventSubject& subject) const;
    // Before other threads use the log.
    void SetTeller(Teller teller) { m_teller = std::move(teller); }
    // The events of the last `age`, the newest first.
    std::vector<Event> Latest(std::chrono::seconds age) const;

private:
    bool Keep(EventLevel level, std::string line, std::chrono::seconds quiet);

    const std::function<TimePoint()> m_now;
    Teller m_teller;
    mutable std::mutex m_mutex;
    std::deque<Event> m_events;
    std::deque<Event> m_refusals;
};

// The document: a count, then a block for each event.
std::string MakeEventDocument(const std::vector<Event>& events);

}  // namespace kvrecorder
