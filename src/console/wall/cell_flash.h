// A short flash over a cell: its picture has been taken.
#pragma once

#include <QtCore/QPointer>

class QWidget;

namespace kvmon {

class Timers;

// User interface thread only.
class CellFlash {
public:
    explicit CellFlash(Timers& timers) : m_timers(timers) {}
    ~CellFlash() { End(); }
    CellFlash(const CellFlash&) = delete;
    CellFlash& operator=(const CellFlash&) = delete;

    void Start(QWidget& cell);
    // Timer kTimerFlash.
    void End();

private:
    Timers& m_timers;
    QPointer<QWidget> m_pane;  // goes with its cell
};

}  // namespace kvmon
