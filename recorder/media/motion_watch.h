// Finds out whether something moves in a generated scene, without a picture for anybody.
#pragma once

#include <memory>
#include <optional>

#include "media/media_clock.h"
#include "media/motion_judge.h"
#include "media/ptz_camera.h"
#include "media/scene_renderer.h"

namespace kvrecorder {

// One thread at a time.
class MotionWatch {
public:
    MotionWatch(const Scene& scene, int channel, std::shared_ptr<PtzCamera> camera, const MotionSetup& setup);

    // Looks once; tells a beginning (true) or an end (false) of motion.
    std::optional<bool> Look(MediaTime now);
    // Part of the small picture that changed at the last look, 0 to 1.
    double Changed() const { return m_judge.Changed(); }

private:
    SceneRenderer m_renderer;
    const std::shared_ptr<PtzCamera> m_camera;
    MotionJudge m_judge;
};

}  // namespace kvrecorder
