#include "console/wall/cell_drag.h"

#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/ports/desk.h"
#include "console/wall/camera_list.h"
#include "console/wall/cell_pool.h"
#include "console/wall/view_controller.h"
#include "skin/skin_colours.h"

namespace kvmon {

namespace {

constexpr QSize kGhostSize(208, 156);
constexpr QPoint kGhostPlace(16, 12);  // beside the pointer, which must not hide what lies below
constexpr double kGhostOpacity = 0.85;
constexpr int kFrame = 4;
constexpr int kMarkFill = 70;  // of 255
constexpr int kVeilFill = 150;

// The picture that goes with the pointer. A window of its own, since it goes from display to display.
class Ghost final : public QWidget {
public:
    Ghost(QWidget& cell, QWidget* owner)
        : QWidget(owner, Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                             Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus |
                             Qt::BypassWindowManagerHint),
          m_picture(cell.grab().scaled(kGhostSize * cell.devicePixelRatioF(), Qt::KeepAspectRatio,
                                       Qt::SmoothTransformation)) {
        setObjectName(QStringLiteral("dragGhost"));
        setAttribute(Qt::WA_ShowWithoutActivating);
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setFocusPolicy(Qt::NoFocus);
        setWindowOpacity(kGhostOpacity);
        const QSizeF size = m_picture.deviceIndependentSize();
        resize(std::max(size.toSize().width(), 1), std::max(size.toSize().height(), 1));
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.drawPixmap(0, 0, m_picture);
        painter.setPen(QPen(QColor(ColoursOf(*this).focus), 2));
        painter.drawRect(rect().adjusted(1, 1, -1, -1));
    }

private:
    const QPixmap m_picture;
};

// A pane over a whole cell, which lets the mouse through.
class DragPane final : public QWidget {
public:
    DragPane(const char* name, const QColor& fill, const QColor& frame, QWidget& cell)
        : QWidget(&cell), m_fill(fill), m_frame(frame) {
        setObjectName(QLatin1String(name));
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setGeometry(cell.rect());
        raise();
        show();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), m_fill);
        if (m_frame.isValid()) {
            const double half = kFrame / 2.0;
            painter.setPen(QPen(m_frame, kFrame, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
            painter.drawRect(QRectF(rect()).adjusted(half, half, -half, -half));
        }
    }

private:
    const QColor m_fill;
    const QColor m_frame;
};

QColor Faint(QColor colour, int alpha) {
    colour.setAlpha(alpha);
    return colour;
}

}  // namespace

CellDrag::CellDrag(const Desk& desk, const CellPool& cells, ViewController& view, const CameraList& cameras)
    : m_desk(desk), m_cells(cells), m_view(view), m_cameras(cameras) {}

CellDrag::~CellDrag() {
    Cancel();
}

bool CellDrag::MayBegin(int channel) const {
    return m_cameras.IsChannel(channel) && m_view.GetStyle() != VIEW_STYLE_SINGLE_1CH && !m_desk.IsLocked();
}

void CellDrag::Begin(int channel, const QPoint& screen) {
    Cancel();
    const auto camera = m_cameras.GetCameraByChannel(channel);
    CVideoWnd* const cell = m_cells.FindByCamera(camera.get());
    if (!MayBegin(channel) || cell == nullptr) {
        return;
    }
    m_channel = channel;
    m_ghost = new Ghost(*cell, m_desk.HostOf(*cell));
    m_ghost->move(screen + kGhostPlace);
    m_ghost->show();
    m_veil = new DragPane("dragVeil", QColor(0, 0, 0, kVeilFill), {}, *cell);
    QApplication::setOverrideCursor(Qt::ForbiddenCursor);
    qApp->installEventFilter(this);
    Move(channel, screen);
}

bool CellDrag::Move(int channel, const QPoint& screen) {
    if (!IsOn() || channel != m_channel) {
        return false;
    }
    m_ghost->move(screen + kGhostPlace);
    MarkTarget(m_view.FindDropTarget(channel, screen));
    return true;
}

void CellDrag::MarkTarget(CVideoWnd* target) {
    if (m_mark && m_target == target) {
        return;
    }
    delete m_mark;
    m_target = target;
    QApplication::changeOverrideCursor(target != nullptr ? Qt::ClosedHandCursor : Qt::ForbiddenCursor);
    if (target != nullptr) {
        const QColor colour(ColoursOf(*target).focus);
        m_mark = new DragPane("dropMark", Faint(colour, kMarkFill), colour, *target);
    }
}

bool CellDrag::End(int channel) {
    const bool bOn = IsOn() && channel == m_channel;
    Cancel();
    return bOn;
}

void CellDrag::Cancel() {
    if (!IsOn()) {
        return;
    }
    m_channel = -1;
    qApp->removeEventFilter(this);
    QApplication::restoreOverrideCursor();
    delete m_ghost;
    delete m_veil;
    delete m_mark;
    m_target = nullptr;
}

bool CellDrag::eventFilter(QObject* watched, QEvent* event) {
    const bool bPress = event->type() == QEvent::KeyPress;
    const bool bKey = bPress || event->type() == QEvent::ShortcutOverride;
    if (bKey && static_cast<const QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        event->accept();
        // This event only asks who wants the key. The drag ends with the key itself, which would otherwise
        // end full screen, too.
        if (bPress) {
            Cancel();
        }
        return true;
    }
    if (event->type() == QEvent::ApplicationStateChange &&
        qApp->applicationState() != Qt::ApplicationActive) {
        Cancel();
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace kvmon
