#include "console/wall/live_count.h"

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/wall/cell_pool.h"

namespace kvmon {

LiveCount CountLive(const CellPool& cells) {
    LiveCount count;
    for (int n = 0; n < cells.GetCount(); ++n) {
        const CVideoWnd* const window = cells.Get(n);
        const auto camera = window != nullptr && !window->isHidden() ? window->GetCamera() : nullptr;
        if (camera && camera->IsCameraUsable()) {
            count.shown += 1;
            count.live += camera->IsLive() ? 1 : 0;
        }
    }
    return count;
}

}  // namespace kvmon
