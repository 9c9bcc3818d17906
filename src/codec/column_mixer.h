// The step across a row: each sample of the target between two neighbours of the source. Inside this folder
// and its tests only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

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

// Mixes row after row of one width to another. Both sizes are positive. One thread at a time; allocates
// nothing.
class ColumnMixer {
public:
    enum class Way { Plain, Best };
    // What a row must have behind its last sample, which is told twice: readable, of any content.
    static constexpr int kReadBeyond = 16;

    // `table` has TableBytes(to) bytes, aligned for 16, and stays as long as this object.
    ColumnMixer(int from, int to, std::span<std::uint8_t> table, Way way = Way::Best);
    static std::size_t TableBytes(int to);

    // `row` has one sample more than the source is wide, the last one twice, and kReadBeyond bytes of no
    // meaning. Every way gives the same samples.
    void Mix(const std::uint8_t* row, std::uint8_t* to) const;

private:
    struct Block;

    void MixPlain(const std::uint8_t* row, std::uint8_t* to) const;
    bool MakeTable();

    const SampleSteps m_steps;
    const int m_width;
    const std::span<Block> m_blocks;
    bool m_bTable = false;
};

}  // namespace kvmon
