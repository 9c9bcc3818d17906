// A press of the left button in a cell, until it is known what it becomes.
#pragma once

#include <QtCore/QPoint>
#include <cstdlib>

namespace kvmon {

// The press is a click until the pointer has left its place; then the cell itself is dragged. A finger has to
// rest first, and asks for the menu if it rests and goes; one that moves at once swipes. Places are points of
// the screen. Plain state, no window.
class CellPress {
public:
    explicit CellPress(int threshold) : m_nThreshold(threshold) {}

    enum class Step { Nothing, Begins, Moves };

    enum class By { Mouse, Finger };
    enum class Cell { Stays, MayMove };
    void Begin(const QPoint& screen, By by, Cell cell = Cell::MayMove) {
        m_start = screen;
        m_by = by;
        m_cell = cell;
        m_bLeft = false;
        m_state = by == By::Finger ? State::Resting : State::Pressed;
    }
    // The finger has rested for long enough. True if the drag begins now.
    bool Rested() {
        if (m_state != State::Resting) {
            return false;
        }
        m_state = m_cell == Cell::MayMove ? State::Dragging : State::Rested;
        return m_state == State::Dragging;
    }
    Step Move(const QPoint& screen) {
        m_bLeft = m_bLeft || !IsAtStart(screen);
        if (m_state == State::Dragging) {
            return Step::Moves;
        }
        if (m_state == State::Nothing || IsAtStart(screen)) {
            return Step::Nothing;
        }
        if (m_state != State::Pressed) {
            m_state = m_state == State::Resting ? State::Swiping : m_state;
            return Step::Nothing;
        }
        m_state = State::Dragging;
        return Step::Begins;
    }
    void Forget() { m_state = State::Nothing; }

    // What the release at this place would be.
    bool IsClick(const QPoint& screen) const {
        return (m_state == State::Pressed || m_state == State::Resting) && IsAtStart(screen);
    }
    bool IsLongPress(const QPoint& screen) const {
        const bool bRested = m_state == State::Rested || m_state == State::Dragging;
        return m_by == By::Finger && bRested && !m_bLeft && IsAtStart(screen);
    }
    // 1 for a swipe to the left, which goes on to what stands at the right; -1 for one back.
    int Swipe(const QPoint& screen) const {
        const QPoint way = screen - m_start;
        const bool bAcross = std::abs(way.x()) >= kSwipe && std::abs(way.x()) >= 2 * std::abs(way.y());
        return m_state != State::Swiping || !bAcross ? 0 : way.x() < 0 ? 1 : -1;
    }

    bool IsDown() const { return m_state != State::Nothing; }
    bool IsDragging() const { return m_state == State::Dragging; }
    QPoint Start() const { return m_start; }

private:
    enum class State { Nothing, Pressed, Resting, Rested, Swiping, Dragging };

    static constexpr int kSwipe = 60;

    bool IsAtStart(const QPoint& screen) const { return (screen - m_start).manhattanLength() < m_nThreshold; }

    const int m_nThreshold;
    State m_state = State::Nothing;
    By m_by = By::Mouse;
    Cell m_cell = Cell::MayMove;
    bool m_bLeft = false;  // it was elsewhere, if only for a while
    QPoint m_start;
};

}  // namespace kvmon
