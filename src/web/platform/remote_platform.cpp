#include "web/platform/remote_platform.h"

#include <qpa/qwindowsysteminterface.h>

#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>
#include <algorithm>

#include "web/platform/remote_display.h"

namespace kvmon {

namespace {

constexpr QColor kFrame(0x4A, 0x58, 0x6A);
constexpr QColor kTitle(0x2A, 0x34, 0x42);
constexpr QColor kTitleText(0xD8, 0xDE, 0xE6);

constexpr int kTitleHeight = 26;  // at one pixel to a unit
constexpr int kBorder = 1;
constexpr int kTitleFont = 13;

int Scaled(int units) {
    return qRound(units * RemoteDisplay::Instance().Ratio());
}

WId NextId() {
    static WId id = 0;
    return ++id;
}

bool WantsFrame(Qt::WindowFlags flags) {
    const auto type = flags & Qt::WindowType_Mask;
    const bool bDialog = type == Qt::Dialog || type == Qt::Window || type == Qt::Tool;
    return bDialog && !(flags & Qt::FramelessWindowHint) && !(flags & Qt::BypassWindowManagerHint);
}

constexpr Qt::WindowStates kWholeDisplay = Qt::WindowFullScreen | Qt::WindowMaximized;

}  // namespace

RemoteWindow::RemoteWindow(QWindow* window)
    : DisplayWindow(window), m_id(NextId()), m_bFramed(WantsFrame(window->flags())) {
    const QRect place = initialGeometry(window, windowGeometry(), 160, 160);
    m_normal = place;
    QPlatformWindow::setGeometry(place);
    if (place != windowGeometry()) {
        QWindowSystemInterface::handleGeometryChange(window, place);
    }
    setWindowState(window->windowStates());
}

RemoteWindow::~RemoteWindow() {
    RemoteDisplay::Instance().ForgetWindow(*this);
}

QMargins RemoteWindow::frameMargins() const {
    if (!m_bFramed || CoversDisplay() || window()->parent() != nullptr) {
        return {};
    }
    const int border = Scaled(kBorder);
    return {border, Scaled(kTitleHeight), border, border};
}

bool RemoteWindow::CoversDisplay() const {
    return (window()->windowStates() & kWholeDisplay) != 0;
}

void RemoteWindow::setGeometry(const QRect& rect) {
    const QRect before = FrameRect();
    QRect place = rect;
    if (!frameMargins().isNull()) {
        // A title can always be reached.
        const QRect area = RemoteDisplay::Instance().Area();
        const int title = frameMargins().top();
        place.moveTop(qBound(title, place.top(), std::max(title, area.bottom())));
        place.moveLeft(qBound(8 - place.width(), place.left(), area.width() - 8));
    }
    if (!CoversDisplay()) {
        m_normal = place;
    }
    const bool bResized = place.size() != geometry().size();
    QPlatformWindow::setGeometry(place);
    QWindowSystemInterface::handleGeometryChange(window(), place);
    if (!m_bShown) {
        return;
    }
    if (bResized) {
        TellExposed();
    }
    RemoteDisplay::Instance().AddDamage(before);
    RemoteDisplay::Instance().AddDamage(FrameRect());
}

bool RemoteWindow::isExposed() const {
    return m_bShown && RemoteDisplay::Instance().IsSeen();
}

void RemoteWindow::TellExposed() {
    QWindowSystemInterface::handleExposeEvent(
        window(), isExposed() ? QRegion(QRect(QPoint(0, 0), geometry().size())) : QRegion());
}

void RemoteWindow::setVisible(bool visible) {
    if (visible == m_bShown) {
        return;
    }
    m_bShown = visible;
    RemoteDisplay& display = RemoteDisplay::Instance();
    if (visible && CoversDisplay()) {
        setGeometry(display.Area());
    }
    TellExposed();
    display.ShowWindow(*this, visible);
    display.AddDamage(FrameRect());
}

void RemoteWindow::setWindowFlags(Qt::WindowFlags flags) {
    m_bFramed = WantsFrame(flags);
}

void RemoteWindow::setWindowState(Qt::WindowStates state) {
    const bool bWhole = (state & kWholeDisplay) != 0;
    const QRect area = RemoteDisplay::Instance().Area();
    if (bWhole || geometry() != m_normal) {
        const QRect normal = m_normal;
        setGeometry(bWhole ? area : normal);
        m_normal = normal;
    }
    QWindowSystemInterface::handleWindowStateChanged(window(), state);
    RemoteDisplay::Instance().RefreshFullScreen();
}

void RemoteWindow::FollowDisplay(double scale) {
    const QRect area = RemoteDisplay::Instance().Area();
    if (CoversDisplay()) {
        setGeometry(area);
    } else if (scale != 1) {
        // Its picture has so many pixels: none is larger than the display that shows it.
        setGeometry({(QPointF(geometry().topLeft()) * scale).toPoint(),
                     (QSizeF(geometry().size()) * scale).toSize().boundedTo(area.size())});
    }
}

void RemoteWindow::setWindowTitle(const QString& title) {
    m_title = title;
    if (m_bShown) {
        RemoteDisplay::Instance().AddDamage(TitleRect());
    }
}

void RemoteWindow::raise() {
    RemoteDisplay::Instance().RaiseWindow(*this, true);
}

void RemoteWindow::lower() {
    RemoteDisplay::Instance().RaiseWindow(*this, false);
}

void RemoteWindow::requestActivateWindow() {
    QWindowSystemInterface::handleWindowActivated(window());
}

bool RemoteWindow::setMouseGrabEnabled(bool grab) {
    RemoteDisplay& display = RemoteDisplay::Instance();
    if (grab || display.GrabbingWindow() == this) {
        display.GrabMouse(grab ? this : nullptr);
    }
    return true;
}

QRect RemoteWindow::TitleRect() const {
    const QRect frame = FrameRect();
    return frameMargins().isNull() ? QRect()
                                   : QRect(frame.topLeft(), QSize(frame.width(), frameMargins().top()));
}

QRect RemoteWindow::CloseRect() const {
    const QRect title = TitleRect();
    return title.isNull()
               ? QRect()
               : QRect(title.right() - title.height(), title.top(), title.height(), title.height());
}

bool RemoteWindow::CanTakeFocus() const {
    const auto type = window()->flags() & Qt::WindowType_Mask;
    return type != Qt::ToolTip && type != Qt::Popup && type != Qt::SplashScreen &&
           !(window()->flags() & Qt::WindowDoesNotAcceptFocus);
}

void RemoteWindow::DrawFrame(QPainter& painter) const {
    const QRect title = TitleRect();
    QFont font = painter.font();
    font.setPixelSize(Scaled(kTitleFont));
    painter.setFont(font);
    const int border = Scaled(kBorder);
    painter.fillRect(FrameRect(), kFrame);
    painter.fillRect(title.adjusted(border, border, -border, 0), kTitle);
    painter.setPen(QPen(kTitleText, Scaled(1)));
    const QRect place = title.adjusted(Scaled(10), 0, -title.height(), 0);
    painter.drawText(place, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                     painter.fontMetrics().elidedText(m_title, Qt::ElideRight, place.width()));
    const int inset = Scaled(9);
    const QRectF cross = QRectF(CloseRect()).adjusted(inset, inset, -inset, -inset);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.drawLine(cross.topLeft(), cross.bottomRight());
    painter.drawLine(cross.topRight(), cross.bottomLeft());
    painter.setRenderHint(QPainter::Antialiasing, false);
}

void RemoteWindow::Draw(QPainter& painter) const {
    if (!TitleRect().isNull()) {
        DrawFrame(painter);
    }
    if (m_picture != nullptr) {
        painter.drawImage(geometry().topLeft(), *m_picture, QRect(QPoint(0, 0), geometry().size()));
    }
}

RemoteBackingStore::~RemoteBackingStore() {
    if (auto* const remote = static_cast<RemoteWindow*>(window()->handle())) {
        remote->SetPicture(nullptr);
    }
}

void RemoteBackingStore::flush(QWindow* flushed, const QRegion& region, const QPoint& offset) {
    auto* const remote = static_cast<RemoteWindow*>(window()->handle());
    if (remote == nullptr) {
        return;
    }
    remote->SetPicture(&m_image);
    const QPoint origin = flushed->handle()->mapToGlobal(QPoint(0, 0)) + offset;
    for (const QRect& rect : region) {
        RemoteDisplay::Instance().AddDamage(rect.translated(origin));
    }
}

// Widgets that keep their size in units do not ask for another picture when a unit has other pixels.
void RemoteBackingStore::beginPaint(const QRegion& region) {
    if (m_ratio != RemoteDisplay::Instance().Ratio() && window()->handle() != nullptr) {
        resize(window()->handle()->geometry().size(), {});
    }
    QPlatformBackingStore::beginPaint(region);
}

void RemoteBackingStore::resize(const QSize& size, const QRegion&) {
    m_ratio = RemoteDisplay::Instance().Ratio();
    if (m_image.size() != size) {
        const bool bAlpha = window()->requestedFormat().hasAlpha();
        m_image = QImage(size, bAlpha ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
        m_image.fill(bAlpha ? Qt::transparent : Qt::black);
    }
}

bool RemoteBackingStore::scroll(const QRegion& area, int dx, int dy) {
    for (const QRect& rect : area) {
        const QImage moved = m_image.copy(rect);
        QPainter painter(&m_image);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.drawImage(rect.topLeft() + QPoint(dx, dy), moved);
    }
    return true;
}

void RemoteCursor::changeCursor(QCursor* cursor, QWindow*) {
    RemoteDisplay::Instance().SetCursor(cursor != nullptr ? *cursor : QCursor());
}

QPoint RemoteCursor::pos() const {
    return RemoteDisplay::Instance().MousePosition();
}

void RemoteCursor::setPos(const QPoint& pos) {
    RemoteDisplay::Instance().SetMousePosition(pos);
}

QRect RemoteScreen::geometry() const {
    return RemoteDisplay::Instance().Area();
}

QDpi RemoteScreen::logicalDpi() const {
    const qreal dpi = kBaseDpi * RemoteDisplay::Instance().Ratio();
    return {dpi, dpi};
}

QWindow* RemoteScreen::topLevelAt(const QPoint& point) const {
    const DisplayWindow* const window = RemoteDisplay::Instance().WindowAt(point);
    return window != nullptr ? window->window() : nullptr;
}

}  // namespace kvmon
