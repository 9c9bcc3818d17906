// How a channel's picture is to look.
#pragma once

#include <cstdint>

#include "channel/picture/draw_rect.h"
#include "channel/picture/pixels.h"
#include "codec/picture.h"

namespace kvmon {

inline constexpr std::uint32_t kBlack = Rgb(0, 0, 0);
inline constexpr std::uint32_t kGround = Rgb(10, 10, 44);
inline constexpr std::uint32_t kEventFrame = Rgb(185, 52, 53);
inline constexpr int kEventFramePart = 50;  // of the view's width

// A plain value.
struct Look {
    int viewWidth = 0;
    int viewHeight = 0;
    double pixelRatio = 1.0;
    PixelRect drawRect;
    PixelRect zoomRect;
    DisplayMode mode = DisplayMode::Fill;
    bool deinterlace = false;
    bool eventHighlight = false;
    int eventKind = 0;
    bool eventBlink = false;
    bool still = false;

    // A picture that was made smaller for this does not do.
    bool NeedsWhole() const { return deinterlace || !zoomRect.IsEmpty(); }
    bool HasEventFrame() const { return eventBlink && eventHighlight; }
};

}  // namespace kvmon
