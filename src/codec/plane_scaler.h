// Scaling of one plane of samples. Inside this folder and its tests only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kvmon {

class ColumnMixer;

struct PlaneIn {
    const std::uint8_t* data;
    std::ptrdiff_t stride;  // negative: the rows go up in memory
    int width;
    int height;
};

struct PlaneOut {
    std::uint8_t* data;
    std::ptrdiff_t stride;
    int width;
    int height;
};

// Bytes of work memory that ScalePlane needs for these widths.
std::size_t ScaleWorkBytes(int fromWidth, int toWidth);

// Averages where at least two source samples fall on one in both directions, interpolates between
// neighbours elsewhere. All sizes are positive; `work` has ScaleWorkBytes bytes, aligned for 16. `across`
// keeps what the widths need: planes of the same widths share one, and then nothing is allocated.
void ScalePlane(const PlaneIn& from, const PlaneOut& to, std::span<std::uint8_t> work, ColumnMixer& across);

}  // namespace kvmon
