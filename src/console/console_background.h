// The console's ground: the frame round the view and the panel beside it.
#pragma once

#include <QtCore/QSize>
#include <QtCore/QString>

#include "channel/channel_picture.h"

class QPainter;

namespace kvmon {

void PaintConsoleBackground(QPainter& painter, const QSize& console, const PixelRect& view);
// The look of the plain widgets that stand on it.
QString ConsoleStyleSheet();

}  // namespace kvmon
