#include "console/wall/cell_flash.h"

#include <QtGui/QPainter>
#include <QtWidgets/QWidget>

#include "console/ports/console_messages.h"
#include "console/ports/timers.h"

namespace kvmon {

namespace {

constexpr int kFlashMs = 140;
constexpr QColor kFlash(255, 255, 255, 150);

class FlashPane final : public QWidget {
public:
    explicit FlashPane(QWidget& cell) : QWidget(&cell) {
        setObjectName(QStringLiteral("flash"));
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setGeometry(cell.rect());
        raise();
        show();
    }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), kFlash); }
};

}  // namespace

void CellFlash::Start(QWidget& cell) {
    End();
    m_pane = new FlashPane(cell);
    m_timers.SetTimer(kTimerFlash, kFlashMs);
}

void CellFlash::End() {
    m_timers.KillTimer(kTimerFlash);
    delete m_pane.data();
}

}  // namespace kvmon
