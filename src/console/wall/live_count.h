// How many of the channels on show are live.
#pragma once

namespace kvmon {

class CellPool;

struct LiveCount {
    int live = 0;
    int shown = 0;
};

LiveCount CountLive(const CellPool& cells);

}  // namespace kvmon
