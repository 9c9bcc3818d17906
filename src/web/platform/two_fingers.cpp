#include "web/platform/two_fingers.h"

#include <qpa/qwindowsysteminterface.h>

#include <QtGui/QPointingDevice>
#include <algorithm>
#include <utility>

#include "web/platform/display_window.h"

namespace kvmon {

namespace {

constexpr int kFingers = 2;
constexpr double kTipSize = 8;

// The toolkit keeps it until the process ends.
const QPointingDevice* TouchScreen() {
    static const QPointingDevice* const screen = [] {
        auto* const made = new QPointingDevice(
            QStringLiteral("page"), 1, QInputDevice::DeviceType::TouchScreen,
            QPointingDevice::PointerType::Finger, QInputDevice::Capability::Position, kFingers, 0);
        QWindowSystemInterface::registerInputDevice(made);
        return made;
    }();
    return screen;
}

}  // namespace

void TwoFingers::Touch(TouchPhase phase, const QPoint& first, const QPoint& second, DisplayWindow* under,
                       const QSize& display) {
    if (phase == TouchPhase::Come && m_window == nullptr) {
        m_window = under;
    } else if (phase == TouchPhase::Come) {
        phase = TouchPhase::Move;
    }
    if (m_window == nullptr) {
        return;
    }
    QWindow* const window = m_window->window();
    if (phase == TouchPhase::Go || phase == TouchPhase::TakenAway) {
        m_window = nullptr;
    }
    if (phase == TouchPhase::TakenAway) {
        QWindowSystemInterface::handleTouchCancelEvent(window, TouchScreen());
        return;
    }
    QList<QWindowSystemInterface::TouchPoint> points;
    for (const QPoint& at : {first, second}) {
        QWindowSystemInterface::TouchPoint point;
        point.id = static_cast<int>(points.size());
        point.area = QRectF(0, 0, kTipSize, kTipSize);
        point.area.moveCenter(at);
        point.normalPosition = {static_cast<double>(at.x()) / display.width(),
                                static_cast<double>(at.y()) / display.height()};
        point.pressure = phase == TouchPhase::Go ? 0 : 1;
        point.state = phase == TouchPhase::Come   ? QEventPoint::State::Pressed
                      : phase == TouchPhase::Move ? QEventPoint::State::Updated
                                                  : QEventPoint::State::Released;
        points.append(point);
    }
    QWindowSystemInterface::handleTouchEvent(window, TouchScreen(), points);
}

void TwoFingers::Forget(const DisplayWindow& window) {
    if (m_window == &window) {
        m_window = nullptr;
    }
}

}  // namespace kvmon
