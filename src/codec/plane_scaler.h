// Scaling of one plane of samples. Inside this folder and its tests only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "codec/column_average.h"
#include "codec/column_mixer.h"

namespace kvmon {

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

// What planes of the same widths share.
struct ColumnSteps {
    ColumnMixer mixer;
    ColumnAverage average;
    std::size_t GetBytes() const { return mixer.GetBytes() + average.GetBytes(); }
};

// Bytes of work memory that ScalePlane needs for these widths.
std::size_t ScaleWorkBytes(int fromWidth, int toWidth);

// Averages where at least two source samples fall on one in both directions, interpolates between
// neighbours elsewhere. All sizes are positive; `work` has ScaleWorkBytes bytes, aligned for 16. `across`
// keeps what the widths need: planes of the same widths share one, and then nothing is allocated.
void ScalePlane(const PlaneIn& from, const PlaneOut& to, std::span<std::uint8_t> work, ColumnSteps& across);

}  // namespace kvmon
