// ITU-T G.711: 8-bit logarithmic samples.
#pragma once

#include <cstdint>

namespace kvmon {

// One sample as 16-bit PCM.
std::int16_t ExpandMuLaw(std::uint8_t code);
std::int16_t ExpandALaw(std::uint8_t code);

}  // namespace kvmon
