// The pointer over a camera that is just being moved.
#pragma once

#include <QtGui/QCursor>

namespace kvmon {

// Four arrows around a ring, for a screen of so many device pixels to a unit.
QCursor MovingCursor(double scale);

}  // namespace kvmon
