#include "skin/ext_combo_box.h"

#include <QtGui/QHelpEvent>
#include <QtGui/QScreen>
#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QStyleOptionComboBox>
#include <QtWidgets/QStylePainter>
#include <QtWidgets/QToolTip>
#include <algorithm>

#include "skin/plain_text.h"

namespace kvmon {

namespace {
constexpr int kRowsShown = 16;
}

CExtComboBox::CExtComboBox(QWidget* parent) : QComboBox(parent) {
    setMaxVisibleItems(kRowsShown);
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    view()->setTextElideMode(Qt::ElideMiddle);
}

void CExtComboBox::showPopup() {
    const int wanted = view()->sizeHintForColumn(0) + view()->verticalScrollBar()->sizeHint().width();
    view()->setMinimumWidth(std::clamp(wanted, width(), std::max(width(), screen()->size().width() / 2)));
    QComboBox::showPopup();
}

int CExtComboBox::TextRoom(const QStyleOptionComboBox& option) const {
    return style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this).width();
}

void CExtComboBox::paintEvent(QPaintEvent*) {
    QStylePainter painter(this);
    QStyleOptionComboBox option;
    initStyleOption(&option);
    painter.drawComplexControl(QStyle::CC_ComboBox, option);
    option.currentText = fontMetrics().elidedText(option.currentText, Qt::ElideMiddle, TextRoom(option));
    painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

bool CExtComboBox::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty()) {
        QStyleOptionComboBox option;
        initStyleOption(&option);
        const bool cut = fontMetrics().horizontalAdvance(currentText()) > TextRoom(option);
        const QByteArray text = cut ? currentText().toUtf8() : QByteArray();
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(),
                           MarkupOf({text.constData(), static_cast<std::size_t>(text.size())}), this);
        return true;
    }
    return QComboBox::event(event);
}

}  // namespace kvmon
