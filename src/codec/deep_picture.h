// Pictures of more than eight bits a sample.
#pragma once

struct AVFrame;

namespace kvmon {

// Ten-bit planes become eight-bit ones in memory of the frame's own; any other frame stays as it is. False
// without memory.
bool MakeEightBit(AVFrame& frame);

}  // namespace kvmon
