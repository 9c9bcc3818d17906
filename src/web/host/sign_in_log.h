// Who was let in and who was not, for whoever looks after the machine.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "host/journal.h"

namespace kvmon {

// Lines in words that do not change, as programs read them; so many a minute at the most, and a sum of the
// others. No token is ever in one. One thread.
class SignInLog {
public:
    static constexpr std::size_t kMostAMinute = 60;
    using Clock = std::chrono::steady_clock;

    explicit SignInLog(std::function<void(const kvhost::Line& line)> tell) : m_tell(std::move(tell)) {}

    void Tell(bool accepted, const std::string& address, Clock::time_point now = Clock::now());

private:
    const std::function<void(const kvhost::Line& line)> m_tell;
    Clock::time_point m_minute{};
    std::size_t m_told = 0;
    std::size_t m_left = 0;
};

}  // namespace kvmon
