// The middle of what was measured several times, and how far it lies apart.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace kvbench {

struct Spread {
    double middle = 0;
    double least = 0;
    double most = 0;

    // "middle (least to most)"
    std::string Text(int decimals) const {
        char text[64];
        std::snprintf(text, sizeof text, "%.*f (%.*f to %.*f)", decimals, middle, decimals, least, decimals,
                      most);
        return text;
    }
};

inline Spread SpreadOf(std::vector<double> figures) {
    std::sort(figures.begin(), figures.end());
    return {figures[figures.size() / 2], figures.front(), figures.back()};
}

}  // namespace kvbench
