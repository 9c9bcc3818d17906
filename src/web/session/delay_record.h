// How long something takes, many times: what is usual, what the worst.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kvmon {

// Delays in milliseconds; those of two seconds and more count as two seconds, but for the greatest.
class DelayRecord {
public:
    void Add(std::int64_t ms);
    std::uint64_t Count() const { return m_count; }
    // 0 without one.
    std::uint64_t Mean() const { return m_count > 0 ? m_sum / m_count : 0; }
    std::uint64_t Max() const { return m_max; }
    // What so much of them, from 0 to 100 percent, does not exceed.
    std::uint64_t Percentile(double percent) const;

private:
    static constexpr std::size_t kSlots = 2001;
    std::array<std::uint32_t, kSlots> m_slots{};
    std::uint64_t m_count = 0;
    std::uint64_t m_sum = 0;
    std::uint64_t m_max = 0;
};

}  // namespace kvmon
