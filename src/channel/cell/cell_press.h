// A press of the left button in a cell, until it is known what it becomes.
#pragma once

#include <QtCore/QPoint>

namespace kvmon {

// The press is a click until the pointer has left its place; then the cell itself is dragged. A finger has to
// rest first: one that moves at once swipes. Places are points of the screen. Plain state, no window.
class CellPress {
public:
    explicit CellPress(int threshold) : m_nThreshold(threshold) {}

    enum class Step { Nothing, Begins, Moves };

    enum class By { Mouse, Finger };
    void Begin(const QPoint& screen, By by) {
        m_start = screen;
        m_state = by == By::Finger ? State::Resting : State::Pressed;
    }
    // The finger has rested for long enough. True if the drag begins now.
    bool Rested() {
        if (m_state != State::Resting) {
            return false;
        }
        m_state = State::Dragging;
        return true;
    }
    Step Move(const QPoint& screen) {
        if (m_state == State::Dragging) {
            return Step::Moves;
        }
        if (m_state == State::Nothing || (screen - m_start).manhattanLength() < m_nThreshold) {
            return Step::Nothing;
        }
        if (m_state == State::Resting) {
            m_state = State::Nothing;
            return Step::Nothing;
        }
        m_state = State::Dragging;
        return Step::Begins;
    }
    void Forget() { m_state = State::Nothing; }

    bool IsDown() const { return m_state != State::Nothing; }
    bool IsDragging() const { return m_state == State::Dragging; }
    QPoint Start() const { return m_start; }

private:
    enum class State { Nothing, Pressed, Resting, Dragging };

    const int m_nThreshold;
    State m_state = State::Nothing;
    QPoint m_start;
};

}  // namespace kvmon
