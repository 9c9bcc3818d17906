#include "console/layout/view_geometry.h"

#include <algorithm>

namespace kvmon {

namespace {

PixelRect RectAt(int x, int y, int width, int height) {
    return {x, y, x + width, y + height};
}

PixelRect CentredIn(const PixelRect& view, int width, int height) {
    return RectAt(view.left + (view.Width() - width) / 2, view.top + (view.Height() - height) / 2, width,
                  height);
}

std::vector<PixelRect> GridOf(const PixelRect& area, int rows, int columns) {
    std::vector<PixelRect> cells;
    if (rows * columns <= 1) {
        return cells;
    }
    const int width = area.Width() / columns;
    const int height = area.Height() / rows;
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            cells.push_back(RectAt(area.left + width * column, area.top + height * row, width, height));
        }
    }
    return cells;
}

// One large cell, `steps` small ones down its right side, as many below it, and one in the corner.
std::vector<PixelRect> LargeWithBorder(const PixelRect& area, int perPage) {
    const int parts = perPage / 2;
    const int steps = parts - 1;
    const int width = area.Width() / parts;
    const int height = area.Height() / parts;
    const int right = area.left + width * steps;
    const int bottom = area.top + height * steps;
    std::vector<PixelRect> cells{RectAt(area.left, area.top, width * steps, height * steps)};
    for (int row = 0; row < steps; ++row) {
        cells.push_back(RectAt(right, area.top + height * row, width, height));
    }
    for (int column = 0; column < steps; ++column) {
        cells.push_back(RectAt(area.left + width * column, bottom, width, height));
    }
    cells.push_back(RectAt(right, bottom, width, height));
    return cells;
}

std::vector<PixelRect> TwoLargeOverEight(const PixelRect& area) {
    const int width = area.Width() / 4;
    const int height = area.Height() / 4;
    std::vector<PixelRect> cells{
        RectAt(area.left, area.top, 2 * width, 2 * height),
        RectAt(area.left + 2 * width, area.top, 2 * width, 2 * height),
    };
    for (int row = 2; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            cells.push_back(RectAt(area.left + width * column, area.top + height * row, width, height));
        }
    }
    return cells;
}

}  // namespace

PixelRect ViewRectOfConsole(int width, int height) {
    constexpr PixelRect kSmallest{19, 64, 802, 613};
    PixelRect view = kSmallest;
    view.right += std::max(width - kMinConsoleWidth, 0);
    view.bottom += std::max(height - kMinConsoleHeight, 0);
    return view;
}

PixelRect GetViewRect(const std::optional<PixelRect>& fullScreen, bool bMaxViewMode, const PixelRect& rcView,
                      WallUse use) {
    if (fullScreen) {
        return *fullScreen;
    }
    if (bMaxViewMode) {
        return rcView;
    }
    return use == WallUse::OneCell ? CentredIn(rcView, 647, 508) : CentredIn(rcView, 702, 480);
}

std::vector<PixelRect> DivideArea(ViewStyle style, const PixelRect& area, int rows, int columns) {
    switch (style) {
        case VIEW_STYLE_4CH:
            return GridOf(area, 2, 2);
        case VIEW_STYLE_6CH:
            return LargeWithBorder(area, 6);
        case VIEW_STYLE_8CH:
            return LargeWithBorder(area, 8);
        case VIEW_STYLE_9CH:
            return GridOf(area, 3, 3);
        case VIEW_STYLE_10CH:
            return TwoLargeOverEight(area);
        case VIEW_STYLE_12CH:
            return GridOf(area, 3, 4);
        case VIEW_STYLE_CUSTOM:
            return GridOf(area, rows, columns);
        case VIEW_STYLE_SINGLE_1CH:
        case VIEW_STYLE_PIP:
            break;
    }
    return {};
}

std::vector<PixelRect> PipRects(const PixelRect& area, int children, const CellFrame& frame) {
    std::vector<PixelRect> cells{area};
    const int gap = (702 - (frame.width + 175) * 3) / 4;
    const int imageWidth = (area.Width() - 4 * gap) / 3 - frame.width;
    const int imageHeight = area.Width() > 0 ? area.Height() * imageWidth / area.Width() : 0;
    const int y = area.bottom - (imageHeight + gap + frame.title + frame.height);
    for (int i = 1; i <= children; ++i) {
        cells.push_back(RectAt(area.right - i * (gap + imageWidth + frame.width), y, imageWidth + frame.width,
                               imageHeight + frame.height + frame.title));
    }
    return cells;
}

PixelRect FitSingleView(const PixelRect& view, int imageWidth, int imageHeight, const CellFrame& frame) {
    std::int64_t width = std::max(imageWidth, 1);
    std::int64_t height = std::max(imageHeight, 1);
    if (height + frame.title + frame.height > view.Height()) {
        const std::int64_t before = height;
        height = std::max(view.Height() - frame.height - frame.title, 1);
        width = width * height / before;
    }
    if (width + frame.width > view.Width()) {
        const std::int64_t before = width;
        width = std::max(view.Width() - frame.width, 1);
        height = height * width / before;
    }
    return CentredIn(view, static_cast<int>(width) + frame.width,
                     static_cast<int>(height) + frame.title + frame.height);
}

}  // namespace kvmon
