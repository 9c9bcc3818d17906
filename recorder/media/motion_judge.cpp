#include "media/motion_judge.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace kvrecorder {
namespace {

constexpr int kPixelThreshold = 24;      // of 255 in brightness
constexpr double kAreaThreshold = 0.02;  // of what is looked at, with the usual sensitivity
constexpr int kUsualSensitivity = 50;
// So much more of it makes the threshold half as high.
constexpr double kHalving = 16;
// A place that changes in more than this part of the looks is not counted; it takes about half a minute to be
// known.
constexpr float kUsual = 0.12F;
constexpr float kHabit = 1.0F / 64;
// More than this of the whole picture at once is a lamp, or the camera that sees by night from now on.
constexpr double kOtherPicture = 0.8;
// Motion has ended when nothing has moved for this long, and in so many pictures.
constexpr MediaTime kHold{3'000'000};
constexpr int kHoldPictures = 2;

}  // namespace

MotionJudge::MotionJudge(const MotionSetup& setup)
    : m_threshold(kAreaThreshold * std::exp2((kUsualSensitivity - setup.sensitivity) / kHalving)) {
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const auto within = [&](const MotionZone& zone) {
                return 100 * x >= zone.left * kWidth && 100 * x < (zone.left + zone.width) * kWidth &&
                       100 * y >= zone.top * kHeight && 100 * y < (zone.top + zone.height) * kHeight;
            };
            const bool looked =
                setup.zones.empty() || std::any_of(setup.zones.begin(), setup.zones.end(), within);
            m_looked[static_cast<std::size_t>(y) * kWidth + static_cast<std::size_t>(x)] = looked;
            m_area += looked ? 1 : 0;
        }
    }
}

bool MotionJudge::Compare() {
    std::size_t count = 0;
    std::size_t all = 0;
    for (std::size_t i = 0; i < m_luma.size() && m_hasBefore; ++i) {
        const bool changed = std::abs(m_luma[i] - m_before[i]) > kPixelThreshold;
        all += changed ? 1 : 0;
        // Water and blinking lamps change all the time and are no event.
        count += changed && m_looked[i] && m_usual[i] < kUsual ? 1 : 0;
        m_usual[i] += ((changed ? 1.0F : 0.0F) - m_usual[i]) * kHabit;
    }
    m_before = m_luma;
    m_hasBefore = true;
    m_changed = m_area > 0 ? static_cast<double>(count) / static_cast<double>(m_area) : 0;
    return m_changed > m_threshold && static_cast<double>(all) < kOtherPicture * kWidth * kHeight;
}

std::optional<bool> MotionJudge::Judge(MediaTime now, bool swings) {
    m_between = now - m_lastLook;
    m_lastLook = now;
    const bool seen = Compare() && !swings;
    m_hasBefore = m_hasBefore && !swings;
    return Turn(now, seen);
}

std::optional<bool> MotionJudge::Turn(MediaTime now, bool seen) {
    if (seen) {
        m_lastSeen = now;
    }
    const MediaTime hold = std::max(kHold, std::min(kHoldPictures * m_between, 10 * kHold));
    const bool moving = seen || (m_moving && now - m_lastSeen < hold);
    if (moving == m_moving) {
        return std::nullopt;
    }
    m_moving = moving;
    return moving;
}

}  // namespace kvrecorder
