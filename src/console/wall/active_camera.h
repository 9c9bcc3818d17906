// The active cell and what it shows.
#pragma once

#include <memory>

#include "console/wall/camera_list.h"

namespace kvmon {

class CBaseCamera;
class CKelvaraInfo;
class CVideoWnd;
class CellPool;
class RecorderList;

// Looked up with each call. User interface thread only.
class ActiveCamera {
public:
    ActiveCamera(const CellPool& cells, const CameraList& cameras, const RecorderList& recorders)
        : m_cells(cells), m_cameras(cameras), m_recorders(recorders) {}

    // Null for none.
    CVideoWnd* Cell() const;
    std::shared_ptr<CBaseCamera> Camera() const;
    // -1 for none.
    int Channel() const;
    // Its recorder and its place there; -1 for none.
    CameraList::Entry Entry() const;
    CKelvaraInfo* Server() const;

private:
    const CellPool& m_cells;
    const CameraList& m_cameras;
    const RecorderList& m_recorders;
};

}  // namespace kvmon
