#include "media/street_parts.h"

namespace kvrecorder {

void Tree(Painter& p, double x, double y, double size, int rgb) {
    p.Color(0x5B4128);
    p.Rect(x - size * 0.07, y - size * 0.5, size * 0.14, size * 0.5);
    p.Color(rgb);
    p.AddCircle(x, y - size * 0.85, size * 0.36);
    p.AddCircle(x - size * 0.24, y - size * 0.62, size * 0.27);
    p.AddCircle(x + size * 0.24, y - size * 0.62, size * 0.27);
    p.Fill();
}

}  // namespace kvrecorder
