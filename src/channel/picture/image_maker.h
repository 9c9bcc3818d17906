// Where the images of a view come from.
#pragma once

#include <functional>

class QImage;

namespace kvmon {

// Makes one of 32 bits a pixel; a null image if it can't. Any thread.
using ImageMaker = std::function<QImage(int width, int height)>;

}  // namespace kvmon
