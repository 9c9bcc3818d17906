// What the style of the dialogs is drawn from.
#pragma once

#include <QtGui/QColor>
#include <QtGui/QIcon>
#include <QtWidgets/QStyle>

class QPainter;
class QStyleOption;

namespace kvmon {
struct SkinColours;
}

namespace kvmon::style {

inline constexpr double kRadius = 3.5;

struct Plate {
    QRgb face, edge;
};

// The plate of a button in this state.
Plate PlateOf(QStyle::State state, const SkinColours& colours);
// The ink of a sign on it.
QColor InkOf(const QStyleOption& option, const SkinColours& colours);

bool ShowsFocus(QStyle::State state);
// The focus came by a key.
bool ShowsKeyboardFocus(QStyle::State state);

// A line at the rim of a rectangle, on whole device pixels and as many of them as a unit has.
struct PixelLine {
    QRectF rect;  // where its middle runs
    double width;
};
PixelLine LineAround(const QPainter& painter, const QRectF& rect, double width = 1);
void DrawLineAround(QPainter& painter, const QRectF& rect, QRgb colour);

void DrawBox(QPainter& painter, const QRect& rect, QRgb fill, QRgb edge, double radius = kRadius);
void DrawRing(QPainter& painter, const QRect& rect, const SkinColours& colours, double radius = kRadius);
enum class Tip { Up, Down };
void DrawChevron(QPainter& painter, const QRect& box, Tip tip, const QColor& ink);

// The sign of a message box: a letter in a ring.
QIcon MessageIcon(QRgb colour, const char* letter);

}  // namespace kvmon::style
