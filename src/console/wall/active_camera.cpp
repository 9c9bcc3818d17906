#include "console/wall/active_camera.h"

#include "channel/camera/base_camera.h"
#include "console/wall/cell_pool.h"
#include "server/recorder_list.h"

namespace kvmon {

CVideoWnd* ActiveCamera::Cell() const {
    return m_cells.GetActive();
}

std::shared_ptr<CBaseCamera> ActiveCamera::Camera() const {
    return m_cells.GetActiveCamera();
}

int ActiveCamera::Channel() const {
    return m_cameras.FindChannel(Camera().get());
}

CameraList::Entry ActiveCamera::Entry() const {
    return m_cameras.Get(Channel());
}

CKelvaraInfo* ActiveCamera::Server() const {
    return m_recorders.GetServer(Entry().server);
}

}  // namespace kvmon
