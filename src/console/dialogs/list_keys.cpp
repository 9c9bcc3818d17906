#include "console/dialogs/list_keys.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QPushButton>

namespace kvmon {

namespace {

QPushButton* ButtonOf(const ListButtons& buttons, const QKeyEvent& key) {
    const bool bMove = key.modifiers().testFlag(Qt::ControlModifier);
    switch (key.key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_F2:
            return buttons.change;
        case Qt::Key_Insert:
            return buttons.add;
        case Qt::Key_Delete:
            return buttons.remove;
        case Qt::Key_Up:
            return bMove ? buttons.up : nullptr;
        case Qt::Key_Down:
            return bMove ? buttons.down : nullptr;
        default:
            return nullptr;
    }
}

}  // namespace

ListKeys::ListKeys(QWidget& list, const ListButtons& buttons) : QObject(&list), m_buttons(buttons) {
    list.installEventFilter(this);
}

bool ListKeys::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress) {
        return QObject::eventFilter(watched, event);
    }
    QPushButton* const button = ButtonOf(m_buttons, *static_cast<QKeyEvent*>(event));
    if (button == nullptr || !button->isEnabled()) {
        return false;
    }
    button->click();
    return true;
}

}  // namespace kvmon
