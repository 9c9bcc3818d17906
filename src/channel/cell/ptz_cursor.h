// The pointer over a camera that is just being moved.
#pragma once

#include <QtGui/QCursor>

namespace kvmon {

// Four arrows around a ring. User interface thread only.
const QCursor& MovingCursor();

}  // namespace kvmon
