#include "console/console_background.h"

#include <QtGui/QPainter>

namespace kvmon {

namespace {

const QColor kGround(38, 40, 44);
const QColor kPanel(48, 51, 56);
const QColor kEdge(24, 25, 28);
const QColor kViewGround(18, 19, 21);

}  // namespace

void PaintConsoleBackground(QPainter& painter, const QSize& console, const PixelRect& view) {
    painter.fillRect(QRect(QPoint(0, 0), console), kGround);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(kEdge);
    painter.setBrush(kPanel);
    // Heights and widths of the gaps are those between the view and the control table's positions.
    const int panelLeft = view.right + 5;
    painter.drawRoundedRect(
        QRectF(panelLeft + 0.5, 56.5, console.width() - panelLeft - 10, view.bottom - 56 + 8), 4, 4);
    painter.setBrush(kViewGround);
    painter.drawRoundedRect(QRectF(view.left - 4.5, view.top - 4.5, view.Width() + 8, view.Height() + 8), 4,
                            4);
}

QString ConsoleStyleSheet() {
    return QStringLiteral(
        "QLabel#serverName { color: white; font-size: 15px; }"
        "QLabel#serverModel { color: #7fb2e5; }"
        "QComboBox { color: #e6e6e6; background: #26282c; border: 1px solid #5a5e66; border-radius: 3px;"
        " padding: 1px 6px; }"
        "QComboBox:disabled { color: #7a7d84; }"
        "QComboBox QAbstractItemView { color: #e6e6e6; background: #26282c;"
        " selection-background-color: #45607e; }"
        "QFrame#waitDialog { background: #303338; border: 1px solid #5a5e66; border-radius: 4px; }"
        "QFrame#waitDialog QLabel { color: #e6e6e6; border: none; background: transparent; }");
}

}  // namespace kvmon
