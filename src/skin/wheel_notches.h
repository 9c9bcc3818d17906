// A wheel that turns in parts of a notch.
#pragma once

namespace kvmon {

// Gathers the turns that events tell to whole notches. A turn the other way begins anew: the finger on a
// touchpad has changed its mind.
class WheelNotches {
public:
    // `parts`: how many steps a notch is divided into.
    explicit WheelNotches(int parts = 1) : m_nParts(parts) {}

    // 120 for a notch; gives the steps that are complete now.
    int Turn(int delta) {
        if ((delta > 0 && m_nRest < 0) || (delta < 0 && m_nRest > 0)) {
            m_nRest = 0;
        }
        m_nRest += delta * m_nParts;
        const int steps = m_nRest / kNotch;
        m_nRest %= kNotch;
        return steps;
    }
    void Forget() { m_nRest = 0; }

private:
    static constexpr int kNotch = 120;

    int m_nParts;
    int m_nRest = 0;
};

}  // namespace kvmon
