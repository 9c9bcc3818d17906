// The step across a row: each sample of the target between two neighbours of the source. Inside this folder
// and its tests only.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kvmon {

// Source places in 16.16: the middle of the target's sample on the middle of the source's.
struct SampleSteps {
    SampleSteps(int from, int to);
    // The sample in front of the place, and how much of the next one belongs to it, of 256.
    int SampleAt(int i) const { return static_cast<int>(At(i) >> 16); }
    int PartAt(int i) const { return static_cast<int>(At(i) >> 8 & 255); }
    std::int64_t At(int i) const;

    std::int64_t step;
    std::int64_t first;
    std::int64_t last;
};

// Mixes row after row of one width to another. Both sizes are positive. One thread at a time.
class ColumnMixer {
public:
    enum class Way { Plain, Best };
    // What a row must have behind its last sample, which is told twice: readable, of any content.
    static constexpr int kReadBeyond = 16;

    explicit ColumnMixer(Way way = Way::Best) : m_way(way) {}
    // Before the first row of other widths. Allocates only for widths that differ from those before.
    void SetWidths(int from, int to);
    std::size_t GetBytes() const;

    // `row` has one sample more than the source is wide, the last one twice, and kReadBeyond bytes of no
    // meaning. Every way gives the same samples.
    void Mix(const std::uint8_t* row, std::uint8_t* to) const;

private:
    // Where eight samples come from: bytes behind `base` as words, and the second one's part in the mix, of
    // 128.
    struct alignas(16) Block {
        std::array<std::uint8_t, 16> upper;
        std::array<std::uint8_t, 16> lower;
        std::array<std::int16_t, 8> part;
        std::int32_t base;
        std::int32_t at;
    };

    void MixPlain(const std::uint8_t* row, std::uint8_t* to) const;
    bool MakeTable();

    Way m_way;
    SampleSteps m_steps{1, 1};
    int m_from = 0;
    int m_width = 0;
    std::vector<Block> m_blocks;
    bool m_bTable = false;
};

}  // namespace kvmon
