#include "console/wall/single_toggle.h"

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/panel/console_controls.h"
#include "console/ports/commands.h"
#include "console/ports/desk.h"
#include "console/wall/camera_list.h"
#include "console/wall/cell_pool.h"
#include "console/wall/style_command.h"
#include "console/wall/view_controller.h"

namespace kvmon {

void SingleToggle::OnWallChanged() {
    const int style = m_view.GetStyle();
    if (style != VIEW_STYLE_SINGLE_1CH && style < kViewStyleCount) {
        m_before = m_view.CheckedStyle();
    }
}

void SingleToggle::Toggle() {
    if (!m_desk.IsLoggedIn() || m_view.GetStyle() >= kViewStyleCount) {
        return;
    }
    if (m_view.GetStyle() == VIEW_STYLE_SINGLE_1CH) {
        GoBack();
    } else {
        m_commands.Press(kCtlFirstStyle);
    }
}

// To the page that has the camera, which may have been chosen since.
void SingleToggle::GoBack() {
    const auto camera = m_cells.GetActiveCamera();
    const int channel = m_cameras.FindChannel(camera.get());
    const ViewStyle style = m_before.value_or(VIEW_STYLE_4CH);
    if (CChannelArray* const array = m_view.Orders().Find(style); array != nullptr && channel >= 0) {
        const std::uint32_t place = array->FindChannel(static_cast<std::uint32_t>(channel));
        if (place < array->GetTotalCount()) {
            array->SetCurPage(place / array->GetPageSize());
        }
    }
    m_styles.SelectStyle(style);
    if (CVideoWnd* const cell = m_cells.FindByCamera(camera.get())) {
        m_view.ChooseWindow(cell);
    }
}

}  // namespace kvmon
