#include "web/session/delay_record.h"

#include <algorithm>

namespace kvmon {

void DelayRecord::Add(std::int64_t ms) {
    const auto delay = static_cast<std::uint64_t>(std::max<std::int64_t>(ms, 0));
    ++m_slots[std::min<std::uint64_t>(delay, kSlots - 1)];
    ++m_count;
    m_sum += delay;
    m_max = std::max(m_max, delay);
}

std::uint64_t DelayRecord::Percentile(double percent) const {
    const double wanted = static_cast<double>(m_count) * percent / 100;
    std::uint64_t seen = 0;
    for (std::size_t ms = 0; ms < kSlots && m_count > 0; ++ms) {
        seen += m_slots[ms];
        if (static_cast<double>(seen) >= wanted) {
            return ms;
        }
    }
    return 0;
}

}  // namespace kvmon
