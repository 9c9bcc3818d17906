#include "console/layout/cell_moves.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace kvmon {

namespace {

int MiddleX(const PixelRect& cell) {
    return (cell.left + cell.right) / 2;
}

int MiddleY(const PixelRect& cell) {
    return (cell.top + cell.bottom) / 2;
}

// How far the other one is in this direction, by its middle; 0 or less when it is not there.
int Distance(const PixelRect& cell, const PixelRect& other, CellMove move) {
    switch (move) {
        case CellMove::Left:
            return MiddleX(cell) - MiddleX(other);
        case CellMove::Right:
            return MiddleX(other) - MiddleX(cell);
        case CellMove::Up:
            return MiddleY(cell) - MiddleY(other);
        default:
            return MiddleY(other) - MiddleY(cell);
    }
}

bool IsSideways(CellMove move) {
    return move == CellMove::Left || move == CellMove::Right;
}

bool IsInLine(const PixelRect& cell, const PixelRect& other, CellMove move) {
    return IsSideways(move) ? other.top < cell.bottom && other.bottom > cell.top
                            : other.left < cell.right && other.right > cell.left;
}

std::vector<int> ReadingOrder(const std::vector<PixelRect>& cells) {
    std::vector<int> order(cells.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&cells](int a, int b) {
        const PixelRect& first = cells[static_cast<std::size_t>(a)];
        const PixelRect& second = cells[static_cast<std::size_t>(b)];
        return std::tie(first.top, first.left) < std::tie(second.top, second.left);
    });
    return order;
}

}  // namespace

int FindCellMove(const std::vector<PixelRect>& cells, int from, CellMove move) {
    if (cells.empty()) {
        return -1;
    }
    const std::vector<int> order = ReadingOrder(cells);
    if (from < 0 || from >= static_cast<int>(cells.size())) {
        return order.front();
    }
    const PixelRect& cell = cells[static_cast<std::size_t>(from)];
    int best = -1;
    int bestDistance = 0;
    // In the order of reading, so that of two that are as near the first counts.
    for (const int each : order) {
        const PixelRect& other = cells[static_cast<std::size_t>(each)];
        const int distance = Distance(cell, other, move);
        if (distance > 0 && IsInLine(cell, other, move) && (best < 0 || distance < bestDistance)) {
            best = each;
            bestDistance = distance;
        }
    }
    if (best >= 0 || !IsSideways(move)) {
        return best >= 0 ? best : from;
    }
    const auto count = static_cast<int>(order.size());
    const auto place = static_cast<int>(std::find(order.begin(), order.end(), from) - order.begin());
    const int step = move == CellMove::Right ? 1 : count - 1;
    return order[static_cast<std::size_t>((place + step) % count)];
}

}  // namespace kvmon
