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
// Without motion for so long it has ended.
constexpr MediaTime kHold{3'000'000};

}  // namespace

MotionWatch::MotionWatch(const Scene& scene, int channel, std::shared_ptr<PtzCamera> camera)
    : renderer_(scene, channel), camera_(std::move(camera)) {}

bool MotionWatch::Compare(const PixelView& view) {
    luma_.resize(kWidth * kHeight);
    libyuv::ARGBToI400(view.pixels, view.stride, luma_.data(), kWidth, kWidth, kHeight);
    std::size_t count = 0;
    usual_.resize(luma_.size());
    for (std::size_t i = 0; i < luma_.size() && !before_.empty(); ++i) {
        const bool changed = std::abs(luma_[i] - before_[i]) > kPixelThreshold;
        // Water and blinking lamps change all the time and are no event.
        count += changed && usual_[i] < kUsual ? 1 : 0;
        usual_[i] += ((changed ? 1.0F : 0.0F) - usual_[i]) * kHabit;
    }
    before_.swap(luma_);
    changed_ = static_cast<double>(count) / (kWidth * kHeight);
    return changed_ > kAreaThreshold;
}

std::optional<bool> MotionWatch::Look(MediaTime now) {
    // Caption and clock stay the same, so that they count for nothing.
    SceneMoment moment;
    moment.seconds = static_cast<double>(now.count()) / 1e6;
    bool swings = false;
    if (camera_) {
        const CameraPose pose = camera_->Pose(now);
        moment.view = pose.view;
        moment.blur = pose.blur;
        swings = camera_->Moving();
    }
    const PixelView view = renderer_.Draw(kWidth, kHeight, moment);
    if (!view.pixels) {
        return std::nullopt;
    }
    const bool seen = Compare(view) && !swings;
    if (swings) {
        // All moves then, and the picture afterwards is another.
        before_.clear();
    }
    if (seen) {
        lastSeen_ = now;
    }
    const bool moving = seen || (moving_ && now - lastSeen_ < kHold);
    if (moving == moving_) {
        return std::nullopt;
    }
    moving_ = moving;
    return moving;
}

}  // namespace kvrecorder
