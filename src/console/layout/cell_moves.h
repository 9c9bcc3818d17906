// Which cell the arrows lead to.
#pragma once

#include <vector>

#include "codec/picture.h"

namespace kvmon {

enum class CellMove { Left, Right, Up, Down };

// From one of these cells to another, as the eye sees them: the nearest in that direction that stands beside
// or above this one. Where there is none, left and right go on in the order of reading, around both ends; up
// and down stay. -1 without cells; the first in the order of reading when `from` is none of them.
int FindCellMove(const std::vector<PixelRect>& cells, int from, CellMove move);

}  // namespace kvmon
