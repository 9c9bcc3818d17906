#include "state/login_guard.h"

#include <algorithm>
#include <random>
#include <vector>

#include "media/secret.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;

constexpr int kMostDoublings = 16;

std::string MakeSalt() {
    std::random_device source;
    std::string salt;
    for (int i = 0; i < 16; ++i) {
        salt.push_back(static_cast<char>(source()));
    }
    return salt;
}

milliseconds Left(LoginGuard::Clock::time_point until, LoginGuard::Clock::time_point now) {
    return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(until - now));
}

}  // namespace

LoginGuard::LoginGuard(std::function<Clock::time_point()> now) : m_now(std::move(now)), m_salt(MakeSalt()) {}

// Tells two guesses apart without keeping what was said.
std::uint64_t LoginGuard::Tag(std::string_view user, std::string_view password) const {
    std::string text;
    text.reserve(m_salt.size() + user.size() + password.size() + 1);
    text.append(m_salt).append(user).append(1, ':').append(password);
    const std::uint64_t tag = std::hash<std::string>()(text);
    Wipe(text);
    return tag;
}

LoginGuard::Key LoginGuard::KeyOf(const LoginLimits& limits, const SourceAddress& from,
                                  std::string_view user) const {
    const bool byName = from.IsLoopback() && limits.loopback == LoopbackLogins::ByName;
    return {from, byName ? Tag(user, "") : 0};
}

milliseconds LoginGuard::Refused(const LoginLimits& limits, const SourceAddress& from,
                                 std::string_view user) const {
    if (!limits.Count(from.IsLoopback())) {
        return milliseconds(0);
    }
    const std::lock_guard lock(m_mutex);
    const auto source = m_sources.find(KeyOf(limits, from, user));
    return source == m_sources.end() ? milliseconds(0) : Left(source->second.refused, m_now());
}

milliseconds LoginGuard::Failed(const LoginLimits& limits, const SourceAddress& from, std::string_view user,
                                std::string_view password) {
    if (!limits.Count(from.IsLoopback())) {
        return milliseconds(0);
    }
    const Key key = KeyOf(limits, from, user);
    const std::uint64_t guess = Tag(user, password);
    const std::lock_guard lock(m_mutex);
    const Clock::time_point now = m_now();
    Source& source = Find(key, now);
    if (std::find(source.guesses.begin(), source.guesses.end(), guess) == source.guesses.end()) {
        source.guesses[source.guessed++ % source.guesses.size()] = guess;
        source.paid = std::max(source.paid, now) + limits.penalty;
    }
    const milliseconds owed = Left(source.paid, now);
    if (owed >= limits.limit && source.refused <= now) {
        // Behind the loopback address one user's guesses must not shut out another of the same name for long.
        const int doublings = key.second == 0 ? std::min(source.times, kMostDoublings) : 0;
        ++source.times;
        source.paid = source.refused =
            now + std::min(limits.limit * (1 << doublings), std::max(limits.limit, limits.longest));
    }
    source.forgotten = source.paid + (source.times > 0 ? limits.longest : milliseconds(0));
    return std::clamp(owed, std::min(limits.penalty, limits.limit), limits.limit) / limits.delayPart;
}

std::size_t LoginGuard::Sources() const {
    const std::lock_guard lock(m_mutex);
    return m_sources.size();
}

LoginGuard::Source& LoginGuard::Find(const Key& key, Clock::time_point now) {
    if (m_sources.size() >= kMostSources && !m_sources.contains(key)) {
        MakeRoom(now);
    }
    Source& source = m_sources[key];
    if (source.forgotten <= now) {
        source = Source();
    }
    return source;
}

// Many at once, as it looks at all of them.
void LoginGuard::MakeRoom(Clock::time_point now) {
    std::vector<Clock::time_point> ends;
    for (const auto& [key, source] : m_sources) {
        ends.push_back(source.forgotten);
    }
    const auto middle = ends.begin() + static_cast<std::ptrdiff_t>(ends.size() / 8);
    std::nth_element(ends.begin(), middle, ends.end());
    std::size_t most = ends.size() / 8 + 1;
    const Clock::time_point last = std::max(*middle, now);
    std::erase_if(m_sources, [&](const auto& entry) {
        return entry.second.forgotten <= now || (entry.second.forgotten <= last && most > 0 && most-- > 0);
    });
}

}  // namespace kvrecorder
