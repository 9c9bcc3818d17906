// Where the cells of each style stand.
#pragma once

#include <optional>
#include <vector>

#include "codec/picture.h"
#include "console/layout/view_style.h"

namespace kvmon {

// What a cell has around its picture: the frame on both sides together, and the caption strip.
struct CellFrame {
    int width = 4;
    int height = 4;
    int title = 21;
};

inline constexpr int kMinConsoleWidth = 1000;
inline constexpr int kMinConsoleHeight = 680;

// The part of the console that holds the view. It grows with the console; the panel keeps its distance to
// the right edge.
PixelRect ViewRectOfConsole(int width, int height);

enum class WallUse { ManyCells, OneCell };

// The area that a style may use. `fullScreen` is the client area of the full-screen panel while there is
// one. Without both it and the largest view the area is of fixed size, centred in the view rectangle, and
// may reach out of it.
PixelRect GetViewRect(const std::optional<PixelRect>& fullScreen, bool bMaxViewMode, const PixelRect& rcView,
                      WallUse use);

// The cells of a page style in the order of their windows. Rows and columns are the custom style's own and
// count for it alone. Empty for a grid of one cell.
std::vector<PixelRect> DivideArea(ViewStyle style, const PixelRect& area, int rows, int columns);

// Picture-in-picture: the whole area, then the small windows 1 to `children`.
std::vector<PixelRect> PipRects(const PixelRect& area, int children, const CellFrame& frame = {});

// The cell that shows an image of this size as large as the view allows, centred.
PixelRect FitSingleView(const PixelRect& view, int imageWidth, int imageHeight, const CellFrame& frame = {});

}  // namespace kvmon
