// How long cameras are waited for.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>

namespace kvrecorder {

struct CameraTiming {
    std::chrono::milliseconds connect{10'000};  // until a session is open
    std::chrono::milliseconds stall{8'000};     // without a picture
    // Before each attempt after a failure; the last one goes on for ever.
    std::array<std::chrono::milliseconds, 5> pauses = {std::chrono::seconds(1), std::chrono::seconds(2),
                                                       std::chrono::seconds(5), std::chrono::seconds(10),
                                                       std::chrono::seconds(30)};
    // A session that gave pictures for so long was a good one.
    std::chrono::milliseconds good{10'000};
};

// The pauses of one camera.
class CameraPauses {
public:
    explicit CameraPauses(const CameraTiming& timing) : m_timing(timing) {}

    // After a session, or an attempt, that gave pictures for `good`.
    std::chrono::milliseconds Next(std::chrono::milliseconds good) {
        if (good >= m_timing.good) {
            m_next = 0;
        }
        const std::size_t taken = m_next;
        m_next = taken + 1 < m_timing.pauses.size() ? taken + 1 : taken;
        return m_timing.pauses[taken];
    }
    void Restart() { m_next = 0; }

private:
    const CameraTiming m_timing;
    std::size_t m_next = 0;
};

}  // namespace kvrecorder
