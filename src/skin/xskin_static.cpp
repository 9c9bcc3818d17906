#include "skin/xskin_static.h"

#include <QtGui/QPainter>
#include <algorithm>

#include "skin/plain_text.h"

namespace kvmon {

int FittingFontHeight(int controlHeight, int pixelsPerInch) {
    constexpr int kPointsPerInch = 72;
    const int points = controlHeight / 2;
    return (points * pixelsPerInch + kPointsPerInch / 2) / kPointsPerInch;
}

CXSkinStatic::CXSkinStatic(int id, QWidget* parent)
    : WindowBase(parent), m_colour(&SkinColours::captionWhite) {
    SetControlId(id);
    FitFont();
}

void CXSkinStatic::SetWindowText(std::string text) {
    m_text = std::move(text);
    setAccessibleName(QString::fromStdString(m_text));
    UpdateTip();
    update();
}

void CXSkinStatic::SetTextColor(ColourRole colour) {
    m_colour = colour;
    update();
}

void CXSkinStatic::SetCentred(bool bCentred) {
    m_centred = bCentred;
    update();
}

void CXSkinStatic::FitFont() {
    QFont fitting = font();
    fitting.setWeight(QFont::Bold);
    fitting.setPixelSize(std::max(1, FittingFontHeight(height(), logicalDpiY())));
    setFont(fitting);
}

void CXSkinStatic::UpdateTip() {
    const bool cut = fontMetrics().horizontalAdvance(QString::fromStdString(m_text)) > width();
    setToolTip(cut ? MarkupOf(m_text) : QString());
}

void CXSkinStatic::resizeEvent(QResizeEvent* event) {
    FitFont();
    UpdateTip();
    WindowBase::resizeEvent(event);
}

void CXSkinStatic::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(QColor(ColoursOf(*this).*m_colour));
    const QString text =
        fontMetrics().elidedText(QString::fromStdString(m_text), Qt::ElideRight, width(), Qt::TextSingleLine);
    painter.drawText(
        rect(), (m_centred ? Qt::AlignHCenter : Qt::AlignLeft) | Qt::AlignVCenter | Qt::TextSingleLine, text);
}

}  // namespace kvmon
