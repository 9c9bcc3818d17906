// The rules of sequential mode, without a window or a timer.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "console/layout/view_style.h"

namespace kvmon {

class CChannelArray;

inline constexpr std::uint32_t kMinSequentialSeconds = 3;
inline constexpr std::uint32_t kMaxSequentialSeconds = 3600;

// How long after a switch the next page is prepared: 5 seconds before it comes, or at once. Milliseconds.
constexpr std::uint32_t SequentialLeadMs(std::uint32_t intervalMs) {
    return intervalMs <= 5000 ? 0 : intervalMs - 5000;
}

// The style itself when it may rotate over this many cameras, else the single one. With fewer than five
// cameras any style may.
ViewStyle GetSequentialStyle(ViewStyle style, std::uint32_t customStyle, int showable);

// The item of the page combo that comes after the selected one; -1 when there is nothing to go on to.
constexpr int NextComboItem(int selection, int count) {
    return count < 2 ? -1 : (selection + 1) % count;
}

// A camera that will stand in a window after the next switch.
struct PreparedCell {
    int window = 0;
    int channel = -1;
    friend bool operator==(const PreparedCell&, const PreparedCell&) = default;
};

struct PreparationInput {
    ViewStyle style = VIEW_STYLE_4CH;
    bool bSecondDisplay = false;
    int comboSelection = -1;
    int comboCount = 0;
    std::span<const int> comboChannels;    // single style: what the page combo lists
    const CChannelArray* array = nullptr;  // of a page style
};

// What to prepare. Nothing when there is only one page, and nothing for picture-in-picture.
std::vector<PreparedCell> PlanPreparation(const PreparationInput& input);

}  // namespace kvmon
