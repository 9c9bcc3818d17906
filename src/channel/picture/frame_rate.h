// What is counted of a channel's pictures as they take the screen.
#pragma once

#include <cstdint>
#include <mutex>

namespace kvmon {

// The average picture rate since the last start, pause or restart. Any thread.
class FrameRate {
public:
    void Clear() {
        const std::lock_guard lock(m_cs);
        m_values = {};
    }
    // Counts one picture at this tick and gives the pictures a second.
    float Count(std::uint64_t nTick) {
        const std::lock_guard lock(m_cs);
        ++m_values.nCount;
        if (m_values.nStart == 0) {
            m_values.nStart = nTick;
            m_values.fRate = 0;
        } else if (nTick > m_values.nStart) {
            m_values.fRate = static_cast<float>(static_cast<double>(m_values.nCount) * 1000.0 /
                                                static_cast<double>(nTick - m_values.nStart));
        } else {
            m_values = {};
        }
        return m_values.fRate;
    }

private:
    struct Values {
        std::uint64_t nCount = 0;
        std::uint64_t nStart = 0;  // 0 until a picture was counted
        float fRate = 0;
    };

    std::mutex m_cs;
    Values m_values;
};

// What is told together with a picture.
struct PictureCounts {
    std::uint64_t nowMs = 0;       // of the caller's clock
    std::uint64_t shown = 0;       // pictures so far, this one included
    std::uint64_t receivedMs = 0;  // when it came off the wire; 0: not known
    std::uint64_t bytes = 0;       // received so far
    std::uint64_t dropped = 0;     // thrown away undecoded so far
    std::uint64_t jitterMs = 0;    // how unevenly they come
    std::uint64_t heldMs = 0;      // how long this one was held back for it
    FrameRate* rate = nullptr;  // counts it where the line of the rate is shown; null: there is no such line
};

}  // namespace kvmon
