// The ground of the console and where things stand on it.
#pragma once

#include <QtCore/QRect>

class QPainter;

namespace kvmon {

struct SkinColours;

// The size for which the control table's positions are told, and the smallest.
inline constexpr QSize kSkinSize{1000, 680};

// All in logical pixels, for a console of the given size. The well grows with the console; the panel keeps
// its size and its distance from the right edge.
QRect SkinViewRect(QSize size);
QRect SkinPanelRect(QSize size);
// A line of text below the pictures.
QRect SkinStatusRect(QSize size);
// Where a control stands that the table puts here: with the panel when it belongs to it.
QRect SkinControlRect(const QRect& table, QSize size);

// The ground as seen with no control on it, as far as the part shows of it.
void DrawSkinBackground(QPainter& painter, QSize size, const SkinColours& colours, const QRect& part);

}  // namespace kvmon
