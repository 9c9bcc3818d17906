#include "media/motion_watch.h"

#include <libyuv.h>

#include <cstdlib>

namespace kvrecorder {
namespace {

// Small enough to cost next to nothing, and large enough for a walking figure.
constexpr int kWidth = 96;
constexpr int kHeight = 72;
constexpr int kPixelThreshold = 24;      // of 255 in brightness
constexpr double kAreaThreshold = 0.02;  // of the picture
// A place that changes in more than this part of the looks is not counted; it takes about half a minute to be
// known.
constexpr float kUsual = 0.12F;
constexpr float kHabit = 1.0F / 64;
// Motion has ended when nothing has moved for this long.
constexpr MediaTime kHold{3'000'000};

}  // namespace

MotionWatch::MotionWatch(const Scene& scene, int channel, std::shared_ptr<PtzCamera> camera)
    : m_renderer(scene, channel), m_camera(std::move(camera)) {}

bool MotionWatch::Compare(const PixelView& view) {
    m_luma.resize(kWidth * kHeight);
    libyuv::ARGBToI400(view.pixels, view.stride, m_luma.data(), kWidth, kWidth, kHeight);
    std::size_t count = 0;
    m_usual.resize(m_luma.size());
    for (std::size_t i = 0; i < m_luma.size() && !m_before.empty(); ++i) {
        const bool changed = std::abs(m_luma[i] - m_before[i]) > kPixelThreshold;
        // Water and blinking lamps change all the time and are no event.
        count += changed && m_usual[i] < kUsual ? 1 : 0;
        m_usual[i] += ((changed ? 1.0F : 0.0F) - m_usual[i]) * kHabit;
    }
    m_before.swap(m_luma);
    m_changed = static_cast<double>(count) / (kWidth * kHeight);
    return m_changed > kAreaThreshold;
}

std::optional<bool> MotionWatch::Look(MediaTime now) {
    // Caption and clock stay the same, so that they count for nothing.
    SceneMoment moment;
    moment.seconds = static_cast<double>(now.count()) / 1e6;
    bool swings = false;
    if (m_camera) {
        const CameraPose pose = m_camera->Pose(now);
        moment.view = pose.view;
        moment.blur = pose.blur;
        swings = m_camera->Moving();
    }
    const PixelView view = m_renderer.Draw(kWidth, kHeight, moment);
    if (!view.pixels) {
        return std::nullopt;
    }
    const bool seen = Compare(view) && !swings;
    if (swings) {
        // While the camera moves all of the picture does, and afterwards it is another one.
        m_before.clear();
    }
    if (seen) {
        m_lastSeen = now;
    }
    const bool moving = seen || (m_moving && now - m_lastSeen < kHold);
    if (moving == m_moving) {
        return std::nullopt;
    }
    m_moving = moving;
    return moving;
}

}  // namespace kvrecorder
