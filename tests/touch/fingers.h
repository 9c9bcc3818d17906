// Fingers on the toolkit's own touch screen.
#pragma once

#include <QtTest/qtesttouch.h>
#include <QtWidgets/QWidget>

#include "support/qt_pump.h"

namespace kvtest {

// Places are those of the widget under the fingers. The pointer goes with the first finger.
class Fingers {
public:
    void Put(QWidget& widget, const QPoint& at) {
        QCursor::setPos(widget.mapToGlobal(at));
        QTest::touchEvent(&widget, Screen()).press(0, at);
    }
    void Slide(QWidget& widget, const QPoint& to) {
        QCursor::setPos(widget.mapToGlobal(to));
        QTest::touchEvent(&widget, Screen()).move(0, to);
    }
    void Lift(QWidget& widget, const QPoint& at) {
        QTest::touchEvent(&widget, Screen()).release(0, at);
        Pump();
    }
    // From the middle.
    void Swipe(QWidget& widget, const QPoint& by) {
        const QPoint middle = widget.rect().center();
        Put(widget, middle);
        for (int step = 1; step <= 4; ++step) {
            Slide(widget, middle + by * step / 4);
        }
        Lift(widget, middle + by);
    }
    // Both at the same distance from the middle, from one distance to the other.
    void Pinch(QWidget& widget, int from, int to) {
        const QPoint middle = widget.rect().center();
        const auto left = [&](int reach) { return middle - QPoint(reach, 0); };
        const auto right = [&](int reach) { return middle + QPoint(reach, 0); };
        Put(widget, left(from));
        QTest::touchEvent(&widget, Screen()).move(0, left(from)).press(1, right(from));
        for (int step = 1; step <= 8; ++step) {
            const int reach = from + (to - from) * step / 8;
            QTest::touchEvent(&widget, Screen()).move(0, left(reach)).move(1, right(reach));
        }
        QTest::touchEvent(&widget, Screen()).release(0, left(to)).release(1, right(to));
        Pump();
    }

private:
    static QPointingDevice* Screen() {
        static QPointingDevice* const screen = QTest::createTouchDevice();
        return screen;
    }
};

}  // namespace kvtest
