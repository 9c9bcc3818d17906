#include "channel/picture/draw_rect.h"

#include <cstdint>
#include <cstdlib>

namespace kvmon {

namespace {

PixelRect Centred(const PixelRect& view, std::int64_t halfWidth, std::int64_t halfHeight) {
    if (halfWidth < 1 || halfHeight < 1) {
        return view;
    }
    const int w = static_cast<int>(halfWidth);
    const int h = static_cast<int>(halfHeight);
    const int cx = (view.left + view.right) / 2;
    const int cy = (view.top + view.bottom) / 2;
    return {cx - w, cy - h, cx + w, cy + h};
}

PixelRect KeepAspect(const PixelRect& view, int imageWidth, int imageHeight) {
    std::int64_t h = view.bottom;
    std::int64_t w = h * imageWidth / imageHeight;
    if (w > view.right) {
        w = view.right;
        h = w * imageHeight / imageWidth;
        if (h > view.bottom) {
            return view;
        }
    }
    return Centred(view, w / 2, h / 2);
}

// By no more than one part in twenty, which nobody sees.
bool HasShapeOf(const PixelRect& view, int imageWidth, int imageHeight) {
    const std::int64_t a = std::int64_t{view.right} * imageHeight;
    const std::int64_t b = std::int64_t{view.bottom} * imageWidth;
    return std::abs(a - b) * 20 <= b;
}

PixelRect PowerOfTwo(const PixelRect& view, int imageWidth, int imageHeight) {
    int down = 0;
    while (imageWidth > std::int64_t{view.right} << down || imageHeight > std::int64_t{view.bottom} << down) {
        ++down;
    }
    return Centred(view, imageWidth >> (down + 1), imageHeight >> (down + 1));
}

}  // namespace

PixelRect ComputeDrawRect(DisplayMode mode, int viewWidth, int viewHeight, int imageWidth, int imageHeight) {
    const PixelRect view{0, 0, viewWidth, viewHeight};
    if (viewWidth <= 0 || viewHeight <= 0 || imageWidth <= 0 || imageHeight <= 0) {
        return view;
    }
    switch (mode) {
        case DisplayMode::KeepAspect:
            return KeepAspect(view, imageWidth, imageHeight);
        case DisplayMode::Natural:
            return HasShapeOf(view, imageWidth, imageHeight) ? view
                                                             : KeepAspect(view, imageWidth, imageHeight);
        case DisplayMode::OwnSize:
            return viewWidth >= imageWidth && viewHeight >= imageHeight
                       ? Centred(view, imageWidth / 2, imageHeight / 2)
                       : KeepAspect(view, imageWidth, imageHeight);
        case DisplayMode::PowerOfTwo:
            return PowerOfTwo(view, imageWidth, imageHeight);
        default:
            return view;
    }
}

PixelRect ShownPart(const PixelRect& zoom, int imageWidth, int imageHeight) {
    const bool inside =
        zoom.left >= 0 && zoom.top >= 0 && zoom.right <= imageWidth && zoom.bottom <= imageHeight;
    return inside && !zoom.IsEmpty() ? zoom : PixelRect{0, 0, imageWidth, imageHeight};
}

std::optional<std::pair<int, int>> ViewToPicture(const PixelRect& drawn, const PixelRect& shown, int x,
                                                 int y) {
    const bool inside = x >= drawn.left && x < drawn.right && y >= drawn.top && y < drawn.bottom;
    if (!inside || shown.IsEmpty()) {
        return std::nullopt;
    }
    const auto map = [](int offset, int from, int to) {
        return static_cast<int>(std::int64_t{offset} * to / from);
    };
    return std::pair(shown.left + map(x - drawn.left, drawn.Width(), shown.Width()),
                     shown.top + map(y - drawn.top, drawn.Height(), shown.Height()));
}

}  // namespace kvmon
