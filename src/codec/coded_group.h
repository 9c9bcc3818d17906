// The coded units since the last key picture, kept to decode them again.
#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <vector>

namespace kvmon {

// What a unit of H.264 or H.265 carries.
struct UnitContents {
    bool key = false;                // a picture at which decoding can begin
    std::vector<std::uint8_t> sets;  // its parameter sets, with their start codes
};
UnitContents LookInto(int streamType, std::span<const std::uint8_t> unit);

// One thread at a time. Holds at most 8 MB and 300 units; a group beyond that is not kept at all.
class CodedGroup {
public:
    // Each unit is followed by kInputPadding bytes.
    struct Unit {
        std::vector<std::uint8_t> bytes;
        std::size_t size = 0;
        std::span<const std::uint8_t> Bytes() const { return std::span(bytes).first(size); }
    };

    void Clear();
    void Add(std::span<const std::uint8_t> unit, const UnitContents& contents);
    // False: no key picture came yet, or the group is too large.
    bool IsWhole() const { return m_bWhole; }
    const std::deque<Unit>& Units() const { return m_units; }
    // The newest parameter sets of all groups; empty for none.
    const Unit& Sets() const { return m_sets; }

private:
    std::deque<Unit> m_units;
    Unit m_sets;
    std::size_t m_bytes = 0;
    bool m_bWhole = false;
};

}  // namespace kvmon
