#include "console/wall/wall_plate.h"

#include <QtGui/QMouseEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QHBoxLayout>

#include "skin/skin_colours.h"

namespace kvmon {

namespace {

constexpr double kRound = 6;

}  // namespace

WallPlate::WallPlate(QWidget* host) : QWidget(host) {
    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(16, 8, 16, 8);
    layout->setSpacing(16);
}

void WallPlate::PlaceOn(QWidget& host, const QRect& wall) {
    if (parentWidget() != &host) {
        setParent(&host);
        show();
    }
    setGeometry(PlaceIn(wall));
    raise();
}

void WallPlate::Retire() {
    if (isAncestorOf(window()->focusWidget())) {
        parentWidget()->setFocus();
    }
    hide();
    deleteLater();
}

void WallPlate::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(QColor(ColoursOf(*this).panel));
    painter.setPen(QColor(ColoursOf(*this).edgeHover));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), kRound, kRound);
}

void WallPlate::mousePressEvent(QMouseEvent* event) {
    event->accept();
}
void WallPlate::mouseReleaseEvent(QMouseEvent* event) {
    event->accept();
}

}  // namespace kvmon
