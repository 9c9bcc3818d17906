// Qt's controls as the skin draws them, each from its option.
#pragma once

#include <QtCore/QRect>
#include <QtWidgets/QStyle>
#include <QtWidgets/QStyleOption>

class QPainter;

namespace kvmon {
struct SkinColours;
}

namespace kvmon::style {

void DrawPush(const QStyleOption& option, QPainter& painter, const SkinColours& colours);
// Lists and tables: where the keyboard goes shows at the frame.
void DrawFrame(const QStyleOption& option, QPainter& painter, const SkinColours& colours);
// A bar without arrows: all of it is groove.
QRect ScrollPart(const QStyleOptionSlider& bar, QStyle::SubControl part);
void DrawScroll(const QStyleOptionComplex& option, QPainter& painter, const SkinColours& colours);
void DrawField(const QStyleOption& option, QPainter& painter, const SkinColours& colours);
void DrawCheck(const QStyleOption& option, QPainter& painter, const SkinColours& colours);
void DrawRadio(const QStyleOption& option, QPainter& painter, const SkinColours& colours);
void DrawTab(const QStyleOption& option, QPainter& painter, const SkinColours& colours);
// The titles of a table's columns; a line parts one from the next.
enum class HeaderPart { Title, Empty };
void DrawHeader(const QRect& rect, HeaderPart part, QPainter& painter, const SkinColours& colours);
void DrawProgress(const QStyleOptionProgressBar& bar, QPainter& painter, const SkinColours& colours);

}  // namespace kvmon::style
