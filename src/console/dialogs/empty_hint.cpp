#include "console/dialogs/empty_hint.h"

#include <QtCore/QEvent>
#include <QtWidgets/QAbstractScrollArea>

namespace kvmon {

namespace {

constexpr int kHintMargin = 16;

}  // namespace

EmptyHint::EmptyHint(QAbstractScrollArea& list) : QLabel(list.viewport()), m_list(list) {
    setObjectName(QStringLiteral("emptyHint"));
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignCenter);
    setWordWrap(true);
    setMargin(kHintMargin);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    list.viewport()->installEventFilter(this);
    hide();
}

void EmptyHint::Say(const QString& text) {
    if (text != this->text()) {
        setText(text);
        setAccessibleName(text);
        // For who reads the list by its name.
        m_list.setAccessibleDescription(text);
    }
    Place();
    setVisible(!text.isEmpty());
}

void EmptyHint::Place() {
    setGeometry(m_list.viewport()->rect());
}

bool EmptyHint::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize) {
        Place();
    }
    return QLabel::eventFilter(watched, event);
}

}  // namespace kvmon
