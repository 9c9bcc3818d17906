#include "state/refusal_count.h"

#include <algorithm>
#include <utility>

#include "media/utf8.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMostAddresses = 256;
// Of one round: told when they come, and told by their own sum.
constexpr std::size_t kMostAtOnce = 4;
constexpr std::size_t kMostSums = 8;
constexpr std::size_t kLongestName = 64;

std::string Count(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " login" : " logins");
}

}  // namespace

std::string RefusalCount::Add(const SourceAddress& from, std::string_view user) {
    std::string name = PrintableUtf8(user, kLongestName);
    const std::lock_guard lock(m_mutex);
    auto found = m_entries.find(from);
    if (found == m_entries.end()) {
        if (m_entries.size() >= kMostAddresses) {
            ++m_others;
            return "";
        }
        found = m_entries.emplace(from, Entry()).first;
    }
    Entry& entry = found->second;
    entry.last = name;
    if (++entry.count > 1 || m_told >= kMostAtOnce) {
        return "";
    }
    entry.told = true;
    ++m_told;
    return "Login of " + name + " from " + from.Text() + " refused";
}

std::vector<RefusalCount::Sum> RefusalCount::EndRound() {
    std::map<SourceAddress, Entry> entries;
    std::size_t others = 0;
    {
        const std::lock_guard lock(m_mutex);
        entries.swap(m_entries);
        others = std::exchange(m_others, 0);
        m_told = 0;
    }
    std::vector<std::pair<SourceAddress, Entry>> most(entries.begin(), entries.end());
    std::stable_sort(most.begin(), most.end(),
                     [](const auto& a, const auto& b) { return a.second.count > b.second.count; });
    std::vector<Sum> sums;
    for (std::size_t i = 0; i < most.size(); ++i) {
        const auto& [from, entry] = most[i];
        if (i >= kMostSums) {
            others += entry.count;
            continue;
        }
        sums.push_back({Count(entry.count) + " from " + from.Text() + " refused, the last of " + entry.last,
                        entry.told && entry.count == 1});
    }
    if (others > 0) {
        sums.push_back({Count(others) + " from other addresses refused", false});
    }
    return sums;
}

}  // namespace kvrecorder
