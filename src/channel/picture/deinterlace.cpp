#include "channel/picture/deinterlace.h"

#include <cstring>

namespace kvmon {

namespace {

constexpr int kLargestKept = 20;

void FilterRow(const std::uint8_t* even, std::uint8_t* odd, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const int difference = even[i] - odd[i];
        odd[i] = difference > kLargestKept || difference < -kLargestKept ? even[i] : odd[i];
    }
}

}  // namespace

void DeinterlaceRows(std::span<std::uint8_t> bits, std::size_t rowBytes, int rows, DeinterlaceWay way) {
    for (int pair = 0; pair < rows / 2; ++pair) {
        const std::size_t offset = static_cast<std::size_t>(pair) * 2 * rowBytes;
        if (offset + 2 * rowBytes > bits.size()) {
            return;
        }
        std::uint8_t* const even = bits.data() + offset;
        if (way == DeinterlaceWay::Filter) {
            FilterRow(even, even + rowBytes, rowBytes);
        } else {
            std::memcpy(even + rowBytes, even, rowBytes);
        }
    }
}

}  // namespace kvmon
