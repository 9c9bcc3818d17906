#include "codec/coded_group.h"

#include "codec/video_decoder.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxGroupBytes = 8 << 20;
constexpr std::size_t kMaxGroupUnits = 300;
constexpr std::size_t kMaxSetBytes = 16 << 10;
constexpr std::size_t kStartOfUnit = 3;

// Where the next start code is, or the end.
std::size_t FindStartOfUnit(std::span<const std::uint8_t> unit, std::size_t from) {
    for (std::size_t at = from; at + kStartOfUnit < unit.size(); ++at) {
        if (unit[at] == 0 && unit[at + 1] == 0 && unit[at + 2] == 1) {
            return at;
        }
    }
    return unit.size();
}

CodedGroup::Unit CopyUnit(std::span<const std::uint8_t> bytes) {
    CodedGroup::Unit unit;
    unit.size = bytes.size();
    unit.bytes.reserve(bytes.size() + kInputPadding);
    unit.bytes.assign(bytes.begin(), bytes.end());
    unit.bytes.resize(bytes.size() + kInputPadding);
    return unit;
}

}  // namespace

UnitContents LookInto(int streamType, std::span<const std::uint8_t> unit) {
    UnitContents contents;
    for (std::size_t at = FindStartOfUnit(unit, 0); at < unit.size();) {
        const bool bH264 = streamType == kStreamTypeH264;
        const int kind = bH264 ? unit[at + kStartOfUnit] & 31 : unit[at + kStartOfUnit] >> 1 & 63;
        const bool bSet = bH264 ? kind == 7 || kind == 8 : kind >= 32 && kind <= 34;
        const bool bPicture = bH264 ? kind >= 1 && kind <= 5 : kind < 32;
        if (bPicture) {
            contents.key = bH264 ? kind == 5 : kind >= 16 && kind <= 21;
            break;  // sets stand before the picture
        }
        const std::size_t next = FindStartOfUnit(unit, at + kStartOfUnit);
        if (bSet && contents.sets.size() + (next - at) <= kMaxSetBytes) {
            contents.sets.insert(contents.sets.end(), unit.begin() + static_cast<std::ptrdiff_t>(at),
                                 unit.begin() + static_cast<std::ptrdiff_t>(next));
        }
        at = next;
    }
    return contents;
}

void CodedGroup::Clear() {
    m_units.clear();
    m_sets = {};
    m_bytes = 0;
    m_bWhole = false;
}

void CodedGroup::Add(std::span<const std::uint8_t> unit, const UnitContents& contents) {
    if (!contents.sets.empty()) {
        m_sets = CopyUnit(contents.sets);
    }
    if (contents.key) {
        m_units.clear();
        m_bytes = 0;
        m_bWhole = true;
    }
    if (!m_bWhole) {
        return;
    }
    if (m_units.size() == kMaxGroupUnits || unit.size() > kMaxGroupBytes - m_bytes) {
        m_units.clear();
        m_bytes = 0;
        m_bWhole = false;
        return;
    }
    m_bytes += unit.size();
    m_units.push_back(CopyUnit(unit));
}

}  // namespace kvmon
