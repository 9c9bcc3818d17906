#include "console/layout/sequential_rules.h"

#include "console/layout/channel_array.h"

namespace kvmon {

namespace {

// Up to this many cameras, these styles rotate; `styles` has one bit a style.
struct Row {
    int cameras;
    unsigned styles;
    std::uint32_t customStyles;  // the first so many of them
};

constexpr unsigned StylesUpTo(int last) {
    return (2u << last) - 1 - (1u << VIEW_STYLE_PIP);
}

// A page has to hold fewer cells than there are cameras.
constexpr Row kRows[] = {
    {6, StylesUpTo(VIEW_STYLE_4CH), 0},   {8, StylesUpTo(VIEW_STYLE_6CH), 0},
    {9, StylesUpTo(VIEW_STYLE_8CH), 0},   {10, StylesUpTo(VIEW_STYLE_9CH), 0},
    {12, StylesUpTo(VIEW_STYLE_10CH), 0}, {16, StylesUpTo(VIEW_STYLE_12CH), 0},
    {20, StylesUpTo(VIEW_STYLE_12CH), 1},
};
constexpr Row kMany = {0, StylesUpTo(VIEW_STYLE_12CH), 3};
constexpr int kFewCameras = 5;

bool MayRotate(const Row& row, ViewStyle style, std::uint32_t customStyle) {
    return style == VIEW_STYLE_CUSTOM ? customStyle < row.customStyles : (row.styles >> style & 1) != 0;
}

const Row& RowFor(int showable) {
    for (const Row& row : kRows) {
        if (showable <= row.cameras) {
            return row;
        }
    }
    return kMany;
}

void PreparePage(const CChannelArray& array, std::uint32_t page, int firstWindow,
                 std::vector<PreparedCell>& cells) {
    for (std::uint32_t i = 0; i < array.GetPageSize(); ++i) {
        if (const int channel = array.GetAt(page, i); channel >= 0) {
            cells.push_back({firstWindow + static_cast<int>(i), channel});
        }
    }
}

}  // namespace

ViewStyle GetSequentialStyle(ViewStyle style, std::uint32_t customStyle, int showable) {
    return showable < kFewCameras || MayRotate(RowFor(showable), style, customStyle) ? style
                                                                                     : VIEW_STYLE_SINGLE_1CH;
}

std::vector<PreparedCell> PlanPreparation(const PreparationInput& input) {
    std::vector<PreparedCell> cells;
    const int next = NextComboItem(input.comboSelection, input.comboCount);
    if (next < 0 || input.style == VIEW_STYLE_PIP) {
        return cells;
    }
    if (input.style == VIEW_STYLE_SINGLE_1CH) {
        const auto channel = [&](int item) {
            return input.comboChannels[static_cast<std::size_t>(item) % input.comboChannels.size()];
        };
        if (!input.comboChannels.empty()) {
            cells.push_back({0, channel(next)});
            if (input.bSecondDisplay) {
                cells.push_back({1, channel(next + 1)});
            }
        }
        return cells;
    }
    if (input.array != nullptr) {
        const auto page = static_cast<std::uint32_t>(input.bSecondDisplay ? next * 2 : next);
        PreparePage(*input.array, page, 0, cells);
        if (input.bSecondDisplay) {
            PreparePage(*input.array, page + 1, static_cast<int>(input.array->GetPageSize()), cells);
        }
    }
    return cells;
}

}  // namespace kvmon
