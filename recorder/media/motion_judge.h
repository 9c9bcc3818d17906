// Tells from small pictures whether something moves.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "media/media_clock.h"
#include "media/stream_config.h"

namespace kvrecorder {

// One thread at a time.
class MotionJudge {
public:
    // Small enough to cost next to nothing, and large enough for a walking figure.
    static constexpr int kWidth = 96;
    static constexpr int kHeight = 72;

    explicit MotionJudge(const MotionSetup& setup);

    // Rows of brightness, to be filled before Judge.
    std::uint8_t* Luma() { return m_luma.data(); }
    // Tells a beginning (true) or an end (false) of motion. While the camera itself `swings` all of the
    // picture moves, and afterwards it is another one.
    std::optional<bool> Judge(MediaTime now, bool swings = false);
    // The same when there is no picture.
    std::optional<bool> Miss(MediaTime now) { return Turn(now, false); }
    // Part of the looked at picture that changed last, 0 to 1.
    double Changed() const { return m_changed; }

private:
    using Pixels = std::array<std::uint8_t, std::size_t{kWidth} * kHeight>;

    bool Compare();
    std::optional<bool> Turn(MediaTime now, bool seen);

    const double m_threshold;
    std::array<bool, std::size_t{kWidth} * kHeight> m_looked{};  // within a zone
    std::size_t m_area = 0;                                      // of all zones
    Pixels m_luma{};
    Pixels m_before{};
    bool m_hasBefore = false;
    std::array<float, std::size_t{kWidth} * kHeight> m_usual{};  // how often a place changes
    double m_changed = 0;
    bool m_moving = false;
    MediaTime m_lastSeen{};
    MediaTime m_lastLook{};
    MediaTime m_between{};  // two pictures
};

}  // namespace kvrecorder
