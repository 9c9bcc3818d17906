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
    double Changed() const { return m_changed; }

private:
    bool Compare(const PixelView& view);

    SceneRenderer m_renderer;
    const std::shared_ptr<PtzCamera> m_camera;
    std::vector<std::uint8_t> m_luma;
    std::vector<std::uint8_t> m_before;
    std::vector<float> m_usual;  // how often a place changes
    double m_changed = 0;
    bool m_moving = false;
    MediaTime m_lastSeen{};
};

}  // namespace kvrecorder
