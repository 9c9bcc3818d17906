#include "console/drawer/drawer_drag.h"

#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>

#include "channel/cell/video_wnd.h"
#include "console/wall/cell_pool.h"
#include "skin/skin_colours.h"

namespace kvmon {

namespace {

constexpr int kFrame = 4;
constexpr QPoint kGhostPlace(14, 10);  // beside the pointer

// The place that the camera would take.
class Mark final : public QWidget {
public:
    explicit Mark(QWidget* cell) : QWidget(cell) {
        setObjectName(QStringLiteral("drawerMark"));
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setGeometry(cell->rect());
        show();
        raise();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setPen(QPen(QColor(ColoursOf(*this).accent), kFrame));
        painter.drawRect(rect().adjusted(kFrame / 2, kFrame / 2, -kFrame / 2, -kFrame / 2));
    }
};

}  // namespace

void DrawerDrag::Press(int channel, const QString& name, const QPoint& screen) {
    m_channel = channel;
    m_name = name;
    m_pressedAt = screen;
}

bool DrawerDrag::IsInDrawer(const QPoint& screen) const {
    return m_drawer.rect().contains(m_drawer.mapFromGlobal(screen));
}

void DrawerDrag::Move(const QPoint& screen) {
    if (!IsPressed()) {
        return;
    }
    if (!m_bOn) {
        if ((screen - m_pressedAt).manhattanLength() < QApplication::startDragDistance()) {
            return;
        }
        m_bOn = true;
        m_ghost = new QLabel(m_name, &m_drawer, Qt::ToolTip | Qt::FramelessWindowHint);
        m_ghost->setObjectName(QStringLiteral("drawerGhost"));
        m_ghost->setTextFormat(Qt::PlainText);
        m_ghost->setAttribute(Qt::WA_TransparentForMouseEvents);
        m_ghost->setContentsMargins(8, 4, 8, 4);
        m_ghost->show();
    }
    if (m_ghost) {
        m_ghost->move(screen + kGhostPlace);
    }
    QWidget* const target = IsInDrawer(screen) ? nullptr : static_cast<QWidget*>(m_cells.FindAt(screen));
    if (m_mark && m_mark->parentWidget() != target) {
        delete m_mark;
    }
    if (!m_mark && target != nullptr) {
        m_mark = new Mark(target);
    }
}

CVideoWnd* DrawerDrag::Drop(const QPoint& screen, int* channel) {
    CVideoWnd* const cell = m_bOn && !IsInDrawer(screen) ? m_cells.FindAt(screen) : nullptr;
    *channel = m_channel;
    End();
    return cell;
}

void DrawerDrag::End() {
    delete m_ghost;
    delete m_mark;
    m_bOn = false;
    m_channel = -1;
}

}  // namespace kvmon
