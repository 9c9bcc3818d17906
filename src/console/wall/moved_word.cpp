#include "console/wall/moved_word.h"

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "channel/picture/captions.h"
#include "console/settings/fill_pattern.h"
#include "console/wall/feedback_line.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrSwapped = 7435;
constexpr std::uint32_t kStrMoved = 7436;

}  // namespace

std::string CameraNameOf(const CVideoWnd* cell) {
    const auto camera = cell != nullptr ? cell->GetCamera() : nullptr;
    return camera ? DisplayLine(camera->GetCameraName()) : std::string();
}

void TellMoved(FeedbackLine& feedback, const std::string& camera, const std::string& other) {
    feedback.Say(other.empty() ? FillPattern(LoadString(kStrMoved), {camera})
                               : FillPattern(LoadString(kStrSwapped), {camera, other}));
}

}  // namespace kvmon
