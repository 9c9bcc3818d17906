#include "media/motion_watch.h"

#include <libyuv.h>

namespace kvrecorder {

MotionWatch::MotionWatch(const Scene& scene, int channel, std::shared_ptr<PtzCamera> camera,
                         const MotionSetup& setup)
    : m_renderer(scene, channel), m_camera(std::move(camera)), m_judge(setup) {}

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
    const PixelView view = m_renderer.Draw(MotionJudge::kWidth, MotionJudge::kHeight, moment);
    if (!view.pixels) {
        return std::nullopt;
    }
    libyuv::ARGBToI400(view.pixels, view.stride, m_judge.Luma(), MotionJudge::kWidth, MotionJudge::kWidth,
                       MotionJudge::kHeight);
    return m_judge.Judge(now, swings);
}

}  // namespace kvrecorder
