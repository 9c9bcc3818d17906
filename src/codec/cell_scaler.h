// The step from a decoded picture to a cell of the wall.
#pragma once

#include <cstdint>
#include <vector>

#include "codec/picture.h"
#include "codec/plane_scaler.h"

namespace kvmon {

// Scales smoothly in the picture's own planes and converts only what the cell shows. Keeps its work
// memory: in a steady state nothing is allocated. One thread at a time.
class CellScaler {
public:
    // Draws the part `source` of the picture into a 32-bit image (blue first, fourth byte 255) whose
    // pixel 0,0 is at `pixels`, at `target`, which must lie inside of it. False, and nothing drawn, for
    // an empty picture or rectangle, or a source outside the picture.
    bool Draw(const PictureView& picture, const PixelRect& source, std::uint8_t* pixels,
              std::ptrdiff_t stride, const PixelRect& target);

    std::size_t GetBytes() const {
        return m_work.capacity() + m_across.GetBytes() + m_colourAcross.GetBytes();
    }

private:
    bool DrawPlanes(const PictureView& part, std::uint8_t* out, int outStride, int width, int height);
    bool DrawPacked(const PictureView& part, std::uint8_t* out, int outStride, int width, int height);

    std::vector<std::uint8_t> m_work;
    ColumnSteps m_across;
    ColumnSteps m_colourAcross;
};

}  // namespace kvmon
