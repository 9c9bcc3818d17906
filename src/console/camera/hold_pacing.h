// When a held button sends its command again.
#pragma once

#include <cstdint>

namespace kvmon {

// The first repeat comes no sooner than 1500 ms after the press, the later ones no sooner than 850 ms after
// the one before, and each only when the camera has answered. Times are ticks in milliseconds.
class HoldPacing {
public:
    static constexpr std::uint32_t kFirstMs = 1500;
    static constexpr std::uint32_t kNextMs = 850;

    enum class Next { Nothing, Send, Wait };
    struct Step {
        Next next = Next::Nothing;
        std::uint32_t waitMs = 0;
    };

    // A button was pressed; its command is to be sent now. Everything of an earlier hold is forgotten, as its
    // commands may be answered only now.
    void Press(int id) {
        *this = {};
        m_id = id;
    }
    void Release() { *this = {}; }
    int HeldId() const { return m_id; }
    // Call with each command that is sent. The first of a hold is that of the press.
    void NoteSent(std::uint64_t tick) {
        m_interval = m_count == 0 ? kFirstMs : kNextMs;
        ++m_count;
        m_lastTick = tick;
    }
    // The camera has answered.
    Step OnFinished(bool bDown, bool bDigitalZoom, std::uint64_t tick) {
        if (m_id == 0) {
            return {};
        }
        if (!bDown) {
            *this = {};
            return {};
        }
        if (m_count == 0) {
            return {};
        }
        const std::uint64_t elapsed = tick - m_lastTick;
        if (elapsed >= m_interval) {
            return {Next::Send, 0};
        }
        // Digital zoom needs no camera and goes as fast as the windows do.
        return {Next::Wait, bDigitalZoom ? 0 : m_interval - static_cast<std::uint32_t>(elapsed)};
    }

private:
    int m_id = 0;
    std::uint32_t m_count = 0;
    std::uint64_t m_lastTick = 0;
    std::uint32_t m_interval = kFirstMs;
};

}  // namespace kvmon
