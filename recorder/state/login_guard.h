// Slows down and shuts out who guesses passwords.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "state/recorder_config.h"
#include "state/source_address.h"

namespace kvrecorder {

// Each wrong password adds a penalty to what its source owes, and time pays it off. A source that owes as
// much as the limit is refused until it has paid, each time for twice as long as before. The same wrong
// password once more is no guess and adds nothing: a client that has kept an old one shuts nobody out. On the
// loopback address each user's name is a source of its own, as a page host asks from there for many. Any
// thread.
class LoginGuard {
public:
    using Clock = std::chrono::steady_clock;
    // Of more the ones that owe least are forgotten.
    static constexpr std::size_t kMostSources = 4096;

    explicit LoginGuard(std::function<Clock::time_point()> now = Clock::now);

    // For how long the source is still refused, whatever it says.
    std::chrono::milliseconds Refused(const LoginLimits& limits, const SourceAddress& from,
                                      std::string_view user) const;
    // A wrong password was said; gives the time by which its refusal is to be held back.
    std::chrono::milliseconds Failed(const LoginLimits& limits, const SourceAddress& from,
                                     std::string_view user, std::string_view password);
    std::size_t Sources() const;

private:
    using Key = std::pair<SourceAddress, std::uint64_t>;  // with a user's tag where users are told apart
    struct Source {
        Clock::time_point paid{};     // when nothing is owed any more
        Clock::time_point refused{};  // until then
        Clock::time_point forgotten{};
        int times = 0;  // that it was shut out
        std::array<std::uint64_t, 8> guesses{};
        std::size_t guessed = 0;
    };

    std::uint64_t Tag(std::string_view user, std::string_view password) const;
    Key KeyOf(const LoginLimits& limits, const SourceAddress& from, std::string_view user) const;
    Source& Find(const Key& key, Clock::time_point now);
    void MakeRoom(Clock::time_point now);

    const std::function<Clock::time_point()> m_now;
    const std::string m_salt;
    mutable std::mutex m_mutex;
    std::map<Key, Source> m_sources;
};

}  // namespace kvrecorder
