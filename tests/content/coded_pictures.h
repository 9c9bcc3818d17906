// Moving pictures and their coded forms.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace kvtest {

// A picture in planes with colours of half the size, packed rows.
struct Planes {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> y;
    std::vector<std::uint8_t> u;
    std::vector<std::uint8_t> v;
};

// A ground of slow waves with texture, and blocks that move over it.
Planes MovingPicture(int width, int height, int index);

enum class Coding { H264, Mpeg4, Mjpeg, H265, H265Deep };  // the last with ten bits a sample

struct CodedUnit {
    std::vector<std::uint8_t> bytes;
    bool key = false;
};

struct CodingOptions {
    int frames = 50;
    int keyInterval = 25;
    int bitrate = 1'000'000;  // at 25 pictures a second; MJPEG has a quality of its own
    int reordered = 0;        // pictures between two that others refer to
    bool numbered = false;    // as DrawNumber does it
};

// Eight blocks in the top eighth of the picture, black or white: white, the number's six bits from the
// highest on, and what makes the count of white ones even.
void DrawNumber(Planes& picture, int number);
// The number that the brightness of the eight blocks tells; -1: none.
int NumberOf(const std::array<bool, 8>& white);

// One unit for each picture, in the order of coding. Throws std::runtime_error when the system has no
// such encoder.
std::vector<CodedUnit> EncodeMovingPictures(Coding coding, int width, int height,
                                            const CodingOptions& options);

}  // namespace kvtest
