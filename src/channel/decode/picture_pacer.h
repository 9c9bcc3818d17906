// When a picture takes the screen, so that what moves evenly before the camera does so in the cell.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace kvmon {

// Reckons from the differences of the pictures' own times, whatever clock they are of, how late each is
// beside the quickest, and holds the early ones back by what the late ones need. One thread.
class PicturePacer {
public:
    static constexpr std::uint64_t kMostHeldMs = 40;
    // A screen shows no difference that is smaller, and a wait costs a wake-up.
    static constexpr std::uint64_t kLeastHeldMs = 8;
    static constexpr std::size_t kMostWaiting = 2;

    // For how many milliseconds from `readyMs` on the picture is to be held back. `ownMs`: when it was taken;
    // 0, the same as before, one before that or far from it tell nothing, and it is shown at once, as with
    // kMostWaiting others behind it.
    std::uint64_t HoldFor(std::uint64_t ownMs, std::uint64_t readyMs, std::size_t waiting);

    // How much the pictures' ways differ from one to the next, on average. 0 while nothing is known.
    std::uint64_t JitterMs() const { return static_cast<std::uint64_t>(std::llround(m_jitter)); }
    // How long the last picture was held back.
    std::uint64_t HeldMs() const { return m_heldMs; }

private:
    bool Follows(std::uint64_t ownMs, double way) const;

    std::uint64_t m_ownMs = 0;  // of the picture before; 0: none
    double m_way = 0;           // its ready time less its own
    double m_quickest = 0;      // the least such difference of late
    double m_level = 0;         // how late a picture may be and still be shown at its time
    double m_jitter = 0;
    std::uint64_t m_heldMs = 0;
};

}  // namespace kvmon
