// The list of all cameras, at the left of the wall.
#pragma once

#include <QtWidgets/QWidget>
#include <vector>

#include "console/drawer/drawer_drag.h"

class QLineEdit;
class QMouseEvent;

namespace kvmon {

class CVideoWnd;
class CameraList;
class CameraTree;
struct CameraTreeRow;
class CellPool;
class ConsoleControls;
class Desk;
class EmptyHint;
class FeedbackLine;
class RecorderList;
class StyleCommand;
class ViewController;

// A row can be dragged into a cell, Enter puts its camera into the active one, a double click opens it alone.
// The wall gives room for it where the console is wide; else it lies over the wall. It shows nothing without
// a session. User interface thread only.
class CameraDrawer final : public QWidget {
public:
    CameraDrawer(Desk& desk, ConsoleControls& controls, ViewController& view, StyleCommand& styles,
                 const CellPool& cells, const CameraList& cameras, const RecorderList& recorders,
                 FeedbackLine& feedback);

    // Once, when the controls exist: as it was left.
    void Start();
    // Command kCtlCameraList.
    void OnToggle();
    // Where the tab key stops in it.
    std::vector<QWidget*> Stops() const;
    // The console's size, the session or the cameras may have changed.
    void Update();

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::vector<CameraTreeRow> Rows() const;
    void Place();
    void Filter();
    bool OnTreeKey(int key);
    void OnMouse(const QMouseEvent& event);
    void PutInto(int channel, CVideoWnd* cell);
    void OpenAlone(int channel);

    Desk& m_desk;
    ConsoleControls& m_controls;
    ViewController& m_view;
    StyleCommand& m_styles;
    const CellPool& m_cells;
    const CameraList& m_cameras;
    const RecorderList& m_recorders;
    FeedbackLine& m_feedback;
    QLineEdit* m_search;
    CameraTree* m_tree;
    EmptyHint* m_hint;
    DrawerDrag m_drag;
};

}  // namespace kvmon
