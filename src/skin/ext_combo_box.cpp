#include "skin/ext_combo_box.h"

#include <QtGui/QHelpEvent>
#include <QtGui/QScreen>
#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QToolTip>

#include "skin/plain_text.h"

namespace kvmon {

namespace {
constexpr int kRowsShown = 16;
}

CExtComboBox::CExtComboBox(QWidget* parent) : QComboBox(parent) {
    setMaxVisibleItems(kRowsShown);
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    view()->setTextElideMode(Qt::ElideRight);
}

void CExtComboBox::showPopup() {
    const int wanted = view()->sizeHintForColumn(0) + view()->verticalScrollBar()->sizeHint().width();
    view()->setMinimumWidth(std::clamp(wanted, width(), std::max(width(), screen()->size().width() / 2)));
    QComboBox::showPopup();
}

bool CExtComboBox::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty()) {
        QStyleOptionComboBox option;
        initStyleOption(&option);
        const int room =
            style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this).width();
        const bool cut = fontMetrics().horizontalAdvance(currentText()) > room;
        const QByteArray text = cut ? currentText().toUtf8() : QByteArray();
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(),
                           MarkupOf({text.constData(), static_cast<std::size_t>(text.size())}), this);
        return true;
    }
    return QComboBox::event(event);
}

}  // namespace kvmon
