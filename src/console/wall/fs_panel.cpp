#include "console/wall/fs_panel.h"

#include <QtCore/QCoreApplication>
#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>

#include "console/ports/console_messages.h"
#include "persist/log_file.h"
#include "skin/input_messages.h"
#include "skin/role_accessible.h"

namespace kvmon {

namespace {

constexpr QRgb kGround = 0xff000000;  // nothing beside the pictures is to shine at night
constexpr unsigned kLeftButton = 1;

}  // namespace

CFSPanel::CFSPanel(QScreen& screen) {
    setObjectName(QStringLiteral("screenPanel"));
    SetAccessibleRole(*this, QAccessible::Window);
    setWindowTitle(QStringLiteral("KelvaraMonitor Full Screen"));
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_QuitOnClose, false);
    setFocusPolicy(Qt::ClickFocus);  // it shows no focus, so the tab key passes it by
    Cover(screen);
}

CFSPanel::~CFSPanel() {
    m_hTarget.Post(kMsgFocusStyleButton, 0, 0);
}

void CFSPanel::Cover(QScreen& screen) {
    QObject::disconnect(m_follows);
    m_display = &screen;
    setScreen(&screen);
    setGeometry(screen.geometry());
    m_follows = QObject::connect(&screen, &QScreen::geometryChanged, this,
                                 [this](const QRect& rect) { setGeometry(rect); });
}

void CFSPanel::SetTarget(WindowBase& target, std::uint32_t message) {
    m_target = &target;
    m_hTarget = target.Handle();
    m_message = message;
}

void CFSPanel::Dismiss() {
    m_message = 0;
    SendMessage(WM_LBUTTONDBLCLK, 0, 0);
}

void CFSPanel::ShowOnTop(Keyboard keyboard) {
    setAttribute(Qt::WA_ShowWithoutActivating, keyboard == Keyboard::Leave);
    // The state makes window managers hide their bars; without a window manager only the place counts.
    setWindowState(Qt::WindowFullScreen);
    show();
    if (m_display) {
        setGeometry(m_display->geometry());
    }
    raise();
    if (keyboard == Keyboard::Take) {
        activateWindow();
        setFocus();
    }
}

void CFSPanel::OnLButtonDblClk(unsigned nFlags) {
    Trace("CFSPanel::OnLButtonDblClk: nFlags = %d\n", static_cast<int>(nFlags));
    if (m_target && m_message != 0) {
        m_target->SendMessage(m_message, 0, 0);  // it may keep the panel
    } else {
        hide();
    }
}

LParam CFSPanel::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (message == WM_LBUTTONDBLCLK) {
        OnLButtonDblClk(static_cast<unsigned>(wParam));
        return 0;
    }
    return WindowBase::OnMessage(message, wParam, lParam);
}

bool CFSPanel::event(QEvent* event) {
    if (event->type() == QEvent::WindowDeactivate) {
        Forward(event);  // so that held keys count as released
    }
    return WindowBase::event(event);
}

void CFSPanel::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        OnLButtonDblClk(kLeftButton);
    }
}

void CFSPanel::Forward(QEvent* event) {
    if (m_target) {
        QCoreApplication::sendEvent(m_target, event);
    }
    event->accept();
}

void CFSPanel::wheelEvent(QWheelEvent* event) {
    Forward(event);
}

void CFSPanel::keyPressEvent(QKeyEvent* event) {
    Forward(event);
}

void CFSPanel::keyReleaseEvent(QKeyEvent* event) {
    Forward(event);
}

void CFSPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), QColor(kGround));
}

void CFSPanel::resizeEvent(QResizeEvent* event) {
    WindowBase::resizeEvent(event);
    if (m_resized) {
        m_resized();
    }
}

void CFSPanel::closeEvent(QCloseEvent* event) {
    event->ignore();
    OnLButtonDblClk(0);
}

}  // namespace kvmon
