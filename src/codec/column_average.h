// The means across a row of sums: each sample of the target is that of the source's samples that fall on it.
// Inside this folder and its tests only.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kvmon {

// Averages row after row of one width to another that is at most half of it. One thread at a time.
class ColumnAverage {
public:
    enum class Way { Plain, Best };
    // What must be readable behind the sums, of any content: as many as are read at once.
    static constexpr int kReadBeyond = 8;

    explicit ColumnAverage(Way way = Way::Best) : m_way(way) {}
    // Before the first row of other widths. Allocates only for widths that differ from those before.
    void SetWidths(int from, int to);
    std::size_t GetBytes() const { return m_blocks.capacity() * sizeof(Block); }

    // `sums` has the sum of so many rows for each column of the source. Every way gives the same samples.
    void Average(const std::uint16_t* sums, int rows, std::uint8_t* to) const;

private:
    static constexpr int kBlock = 4;
    // Where four samples come from: the first column of each, which of the eight from there on count, and
    // whether they are one more than the fewest.
    struct alignas(16) Block {
        std::array<std::array<std::int16_t, kReadBeyond>, kBlock> counts;
        std::array<std::uint32_t, kBlock> wide;  // all bits or none
        std::array<std::int32_t, kBlock> first;
        std::int32_t at;
    };

    void MakeTable();
    void AverageBlocks(const std::uint16_t* sums, int rows, std::uint8_t* to) const;

    Way m_way;
    int m_from = 0;
    int m_width = 0;
    std::int64_t m_step = 0;
    std::vector<Block> m_blocks;  // none: one sample at a time
};

}  // namespace kvmon
