// Taking the combing out of an interlaced picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kvmon {

enum class DeinterlaceWay { Filter, DoubleRows };

// A picture that will be reduced by more than half anyway takes the cheap way.
constexpr DeinterlaceWay ChooseDeinterlaceWay(int imageHeight, int viewHeight) {
    return imageHeight <= 2LL * viewHeight ? DeinterlaceWay::Filter : DeinterlaceWay::DoubleRows;
}

// Works on the pairs of rows (0, 1), (2, 3) and so on of a bitmap in place. The filter replaces a byte
// of the odd row that differs by more than 20 from the even row's; doubling replaces the odd row.
void DeinterlaceRows(std::span<std::uint8_t> bits, std::size_t rowBytes, int rows, DeinterlaceWay way);

}  // namespace kvmon
