// One JPEG picture, coded in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kvrecorder {

struct JpegPicture {
    int width = 0;
    int height = 0;
    int quality = 0;  // 1 to 100
};

// Both put the coded picture into `jpeg` and leave it alone when the library fails, which is told by false.

// `pixels` holds rows of three bytes a pixel: red, green, blue.
bool CompressRgb(const JpegPicture& picture, std::uint8_t* pixels, std::vector<std::uint8_t>& jpeg);
// `rows` holds, for each row of blocks, 16 rows of luma of `stride` bytes and 8 rows of half of that for each
// of the others: 4:2:0, full range.
bool CompressBlockRows(const JpegPicture& picture, std::uint8_t* rows, std::size_t stride,
                       std::vector<std::uint8_t>& jpeg);

}  // namespace kvrecorder
