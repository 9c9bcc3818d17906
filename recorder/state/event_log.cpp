#include "state/event_log.h"

#include <ctime>

#include "media/utf8.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kLongestText = 600;

// Fit for a line between tags, whoever wrote it.
std::string LineText(std::string_view text) {
    return MarkupFree(PrintableUtf8(text.substr(0, kLongestText), kLongestText));
}

std::string LocalTime(EventLog::TimePoint at) {
    const std::time_t time = std::chrono::system_clock::to_time_t(at);
    std::tm local{};
    ::localtime_r(&time, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

}  // namespace

void EventLog::Tell(EventLevel level, std::string_view text, const EventSubject& subject) const {
    if (m_teller) {
        m_teller(level, LineText(text), subject);
    }
}

void EventLog::Add(EventLevel level, std::string_view text, std::chrono::seconds quiet,
                   const EventSubject& subject) {
    if (Keep(level, LineText(text), quiet)) {
        Tell(level, text, subject);
    }
}

bool EventLog::Keep(EventLevel level, std::string line, std::chrono::seconds quiet) {
    const TimePoint now = m_now();
    const std::lock_guard lock(m_mutex);
    for (auto event = m_events.rbegin(); event != m_events.rend() && event->time > now - quiet; ++event) {
        if (event->level == level && event->text == line) {
            return false;
        }
    }
    m_events.push_back({now, level, std::move(line)});
    if (m_events.size() > kMost) {
        m_events.pop_front();
    }
    return true;
}

void EventLog::AddRefusal(std::string_view text) {
    std::string line = LineText(text);
    const TimePoint now = m_now();
    const std::lock_guard lock(m_mutex);
    m_refusals.push_back({now, EventLevel::Warning, std::move(line)});
    if (m_refusals.size() > kMostRefusals) {
        m_refusals.pop_front();
    }
}

std::vector<Event> EventLog::Latest(std::chrono::seconds age) const {
    const TimePoint since = m_now() - age;
    const std::lock_guard lock(m_mutex);
    std::vector<Event> latest;
    auto event = m_events.rbegin();
    auto refusal = m_refusals.rbegin();
    while (latest.size() < kMostTold && (event != m_events.rend() || refusal != m_refusals.rend())) {
        const bool other =
            event == m_events.rend() || (refusal != m_refusals.rend() && refusal->time > event->time);
        const Event& next = other ? *refusal++ : *event++;
        if (next.time >= since) {
            latest.push_back(next);
        }
    }
    return latest;
}

std::string MakeEventDocument(const std::vector<Event>& events) {
    // Clients take a bare line feed for the end of the header.
    std::string body = "\n<num>" + std::to_string(events.size()) + "</num>\n";
    for (const Event& event : events) {
        body += "<info>\n<level>" + std::to_string(static_cast<int>(event.level)) + "</level>\n<date_time>" +
                LocalTime(event.time) + "</date_time>\n<msg>" + event.text + "</msg>\n</info>\n";
    }
    return body;
}

}  // namespace kvrecorder
