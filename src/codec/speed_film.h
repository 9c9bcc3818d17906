// A few coded pictures to measure decoders by.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace kvmon {

// H.264, 640 x 480: waves with texture and blocks that move over them, one picture a unit, the first a key
// picture. Each unit is followed by kInputPadding readable bytes.
std::vector<std::span<const std::uint8_t>> SpeedFilm();

}  // namespace kvmon
