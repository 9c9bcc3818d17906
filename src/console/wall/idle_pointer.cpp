#include "console/wall/idle_pointer.h"

#include <QtCore/QEvent>
#include <QtGui/QCursor>
#include <QtWidgets/QApplication>

#include "console/ports/console_messages.h"
#include "console/ports/timers.h"

namespace kvmon {

namespace {

constexpr int kIdleMs = 3000;

}  // namespace

void IdlePointer::SetOn(bool on) {
    if (on == m_bOn) {
        return;
    }
    m_bOn = on;
    if (on) {
        qApp->installEventFilter(this);
        m_timers.SetTimer(kTimerPointer, kIdleMs);
    } else {
        qApp->removeEventFilter(this);
        m_timers.KillTimer(kTimerPointer);
        Show();
    }
}

// Cells, their views and dialogs have pointers of their own: this one is over them all.
void IdlePointer::OnTimer() {
    m_timers.KillTimer(kTimerPointer);
    if (m_bOn && !m_bHidden) {
        m_bHidden = true;
        QApplication::setOverrideCursor(Qt::BlankCursor);
    }
}

void IdlePointer::Show() {
    if (m_bHidden) {
        m_bHidden = false;
        QApplication::restoreOverrideCursor();
    }
}

bool IdlePointer::eventFilter(QObject*, QEvent* event) {
    switch (event->type()) {
        case QEvent::MouseMove:
        case QEvent::MouseButtonPress:
        case QEvent::Wheel:
            Show();
            m_timers.SetTimer(kTimerPointer, kIdleMs);
            break;
        default:
            break;
    }
    return false;
}

}  // namespace kvmon
