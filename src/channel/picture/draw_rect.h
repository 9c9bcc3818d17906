// Where a picture lands in its view. Plain geometry.
#pragma once

#include <optional>
#include <utility>

#include "codec/picture.h"

namespace kvmon {

// `Natural` fills a view of nearly the picture's shape and keeps the aspect ratio in any other.
enum class DisplayMode : int { Fill = 0, KeepAspect = 1, OwnSize = 2, PowerOfTwo = 3, Natural = 4 };

// The image's place in a view of this size; the whole view if any size is 0.
PixelRect ComputeDrawRect(DisplayMode mode, int viewWidth, int viewHeight, int imageWidth, int imageHeight);

// The part of a picture that is shown: `zoom` if it is not empty and inside, else the whole.
PixelRect ShownPart(const PixelRect& zoom, int imageWidth, int imageHeight);

// The pixel of the picture below a point of the view; nothing outside of `drawn`.
std::optional<std::pair<int, int>> ViewToPicture(const PixelRect& drawn, const PixelRect& shown, int x,
                                                 int y);

}  // namespace kvmon
