// What the scenes of roads and rails share. Inside this folder only.
#pragma once

#include "media/paint.h"

namespace kvrecorder {

// Of cars.
inline constexpr int kPaints[] = {0xC8352B, 0xE9E9EC, 0x24528F, 0x2B2B30, 0xD9A520, 0x3E7D55, 0x8C97A5};

void Tree(Painter& p, double x, double y, double size, int rgb);

}  // namespace kvrecorder
