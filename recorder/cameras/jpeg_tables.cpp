#include "cameras/jpeg_tables.h"

#include <array>
#include <cstddef>
#include <span>

#include "media/jpeg_writer.h"

namespace kvrecorder {
namespace {

constexpr std::uint8_t kHuffmanTables = 0xC4;
constexpr std::uint8_t kQuantization = 0xDB;
constexpr std::uint8_t kScanMark = 0xDA;

// Calls `take(code, segment)` for each segment before the pixels, marks included, until that says false.
template <typename Take>
void ForEachSegment(std::span<const std::uint8_t> jpeg, Take take) {
    for (std::size_t at = 2; at + 4 <= jpeg.size() && jpeg[at] == 0xFF;) {
        const std::size_t length = 2 + (static_cast<std::size_t>(jpeg[at + 2]) << 8 | jpeg[at + 3]);
        if (at + length > jpeg.size() || !take(jpeg[at + 1], at, jpeg.subspan(at, length))) {
            return;
        }
        at += length;
    }
}

// The segments of this code, as they stand in any small picture of the quality.
std::vector<std::uint8_t> MakeSegments(int quality, std::uint8_t wanted) {
    std::array<std::uint8_t, 16 * 16 * 3> pixels{};
    std::vector<std::uint8_t> jpeg;
    std::vector<std::uint8_t> made;
    CompressRgb({16, 16, quality}, pixels.data(), jpeg);
    ForEachSegment(jpeg, [&](std::uint8_t code, std::size_t, std::span<const std::uint8_t> segment) {
        if (code == wanted) {
            made.insert(made.end(), segment.begin(), segment.end());
        }
        return code != kScanMark;
    });
    return made;
}

}  // namespace

void AddHuffmanTables(std::vector<std::uint8_t>& picture) {
    std::size_t scan = 0;
    ForEachSegment(picture, [&](std::uint8_t code, std::size_t at, std::span<const std::uint8_t>) {
        scan = code == kScanMark ? at : 0;
        return code != kHuffmanTables && code != kScanMark;
    });
    if (scan > 0) {
        static const std::vector<std::uint8_t> tables = MakeSegments(50, kHuffmanTables);
        picture.insert(picture.begin() + static_cast<std::ptrdiff_t>(scan), tables.begin(), tables.end());
    }
}

std::vector<std::uint8_t> QuantizationTables(int quality) {
    return MakeSegments(quality, kQuantization);
}

}  // namespace kvrecorder
