#include "console/dialogs/link_button.h"

#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>

#include "skin/skin_colours.h"

namespace kvmon {

namespace {

constexpr int kMargin = 4;  // for the ring around it

}  // namespace

LinkButton::LinkButton(const QString& text, QWidget* parent) : QAbstractButton(parent) {
    setText(text);
    setAccessibleName(text);
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
}

QSize LinkButton::sizeHint() const {
    return {fontMetrics().horizontalAdvance(text()) + 2 * kMargin, fontMetrics().height() + 2 * kMargin};
}

void LinkButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    QFont font = painter.font();
    font.setUnderline(true);
    painter.setFont(font);
    const SkinColours& colours = ColoursOf(*this);
    painter.setPen(QColor(underMouse() || isDown() ? colours.accentBright : colours.accent));
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine, text());
    if (hasFocus()) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(QColor(colours.focus), 1.5));
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 3, 3);
    }
}

// The button itself takes the space bar alone.
void LinkButton::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        click();
        return;
    }
    if (event->key() == Qt::Key_Space) {
        QAbstractButton::keyPressEvent(event);
        return;
    }
    event->ignore();  // arrows and Escape are for whom it stands on
}

}  // namespace kvmon
