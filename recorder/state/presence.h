// Who is logged in, as far as a protocol without sessions tells it.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace kvrecorder {

// Users by name and address. One is there from a first question on, for as long as a notification
// connection is open or questions come. Any thread.
class Presence {
public:
    using Clock = std::chrono::steady_clock;
    // Without question or connection for so long, a user has left.
    static constexpr std::chrono::minutes kLongestPause{2};

    // True if the user was not there before.
    bool Arrive(const std::string& who, Clock::time_point now = Clock::now());
    void OpenLine(const std::string& who);
    void CloseLine(const std::string& who, Clock::time_point now = Clock::now());
    // True if the user was there.
    bool Leave(const std::string& who);

private:
    struct Entry {
        bool arrived = false;
        int lines = 0;
        Clock::time_point last;
    };
    static bool Gone(const Entry& entry, Clock::time_point now) {
        return entry.lines == 0 && now - entry.last > kLongestPause;
    }

    std::mutex m_mutex;
    std::map<std::string, Entry> m_entries;
};

}  // namespace kvrecorder
