// Counts refused logins, so that a flood of them is told in few words.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "state/source_address.h"

namespace kvrecorder {

// Any thread.
class RefusalCount {
public:
    // Gives the words for the first refusals of a round; "" for the others, which the round's end tells.
    std::string Add(const SourceAddress& from, std::string_view user);

    struct Sum {
        std::string text;
        bool told = false;  // Add has given words for all that it counts
    };
    // Ends a round: the sums of the addresses with the most refusals, and one of all others.
    std::vector<Sum> EndRound();

private:
    struct Entry {
        std::size_t count = 0;
        bool told = false;
        std::string last;  // the name
    };

    std::mutex m_mutex;
    std::map<SourceAddress, Entry> m_entries;
    std::size_t m_told = 0;
    std::size_t m_others = 0;  // of addresses beyond those that are kept
};

}  // namespace kvrecorder
