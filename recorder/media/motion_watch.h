// Finds out whether something moves in a generated scene, without a picture for anybody.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "media/media_clock.h"
#include "media/ptz_camera.h"
#include "media/scene_renderer.h"

namespace kvrecorder {

// One thread at a time.
class MotionWatch {
public:
    // Between two looks.
    static constexpr MediaTime kPause{500'000};

    MotionWatch(const Scene& scene, int channel, std::shared_ptr<PtzCamera> camera);

    // Looks once; tells a beginning (true) or an end (false) of motion.
    std::optional<bool> Look(MediaTime now);
    // Part of the small picture that changed at the last look, 0 to 1.
    double Changed() const { return changed_; }

private:
    bool Compare(const PixelView& view);

    SceneRenderer renderer_;
    const std::shared_ptr<PtzCamera> camera_;
    std::vector<std::uint8_t> luma_;
    std::vector<std::uint8_t> before_;
    std::vector<float> usual_;  // how often a place changes
    double changed_ = 0;
    bool moving_ = false;
    MediaTime lastSeen_{};
};

}  // namespace kvrecorder
