#include "skin/xskin_static.h"

#include <QtGui/QPainter>
#include <algorithm>

#include "skin/palette.h"
#include "skin/plain_text.h"

namespace kvmon {

int FittingFontHeight(int controlHeight, int pixelsPerInch) {
    constexpr int kPointsPerInch = 72;
    const int points = controlHeight / 2;
    return (points * pixelsPerInch + kPointsPerInch / 2) / kPointsPerInch;
}

CXSkinStatic::CXSkinStatic(int id, QWidget* parent) : WindowBase(parent), colour_(palette::kCaptionWhite) {
    SetControlId(id);
    FitFont();
}

void CXSkinStatic::SetWindowText(std::string text) {
    text_ = std::move(text);
    setAccessibleName(QString::fromStdString(text_));
    UpdateTip();
    update();
}

void CXSkinStatic::SetTextColor(QRgb colour) {
    colour_ = QColor(colour);
    update();
}

void CXSkinStatic::SetCentred(bool bCentred) {
    centred_ = bCentred;
    update();
}

void CXSkinStatic::FitFont() {
    QFont fitting = font();
    fitting.setWeight(QFont::Bold);
    fitting.setPixelSize(std::max(1, FittingFontHeight(height(), logicalDpiY())));
    setFont(fitting);
}

void CXSkinStatic::UpdateTip() {
    const bool cut = fontMetrics().horizontalAdvance(QString::fromStdString(text_)) > width();
    setToolTip(cut ? MarkupOf(text_) : QString());
}

void CXSkinStatic::resizeEvent(QResizeEvent* event) {
    FitFont();
    UpdateTip();
    WindowBase::resizeEvent(event);
}

void CXSkinStatic::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(colour_);
    const QString text =
        fontMetrics().elidedText(QString::fromStdString(text_), Qt::ElideRight, width(), Qt::TextSingleLine);
    painter.drawText(
        rect(), (centred_ ? Qt::AlignHCenter : Qt::AlignLeft) | Qt::AlignVCenter | Qt::TextSingleLine, text);
}

}  // namespace kvmon
