// Pictures of more than eight bits a sample, and such as devices give.
#pragma once

struct AVFrame;

namespace kvmon {

// Ten-bit planes become eight-bit ones in memory of the frame's own; any other frame stays as it is. False
// without memory.
bool MakeEightBit(AVFrame& frame);
// Planes whose colours are interleaved (NV12, P010) become planes of one kind each, of as many bits; any
// other frame stays as it is. False without memory.
bool MakePlanar(AVFrame& frame);

}  // namespace kvmon
