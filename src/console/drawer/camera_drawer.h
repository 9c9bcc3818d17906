// The list of all cameras, at the left of the wall.
#pragma once

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>
#include <string>
#include <vector>

#include "channel/cell/cell_icons.h"

class QLabel;
class QLineEdit;
class QTreeWidget;
class QTreeWidgetItem;

namespace kvmon {

class CVideoWnd;
class CameraList;
class CellPool;
class ConsoleControls;
class Desk;
class RecorderList;
class StyleCommand;
class ViewController;

// A row can be dragged into a cell, Enter puts its camera into the active one, a double click opens it alone.
// The wall gives room for it where the console is wide; else it lies over the wall. It shows nothing without
// a session. User interface thread only.
class CameraDrawer final : public QWidget {
public:
    CameraDrawer(Desk& desk, ConsoleControls& controls, ViewController& view, StyleCommand& styles,
                 const CellPool& cells, const CameraList& cameras, const RecorderList& recorders);
    ~CameraDrawer() override;

    // Once, when the controls exist: as it was left.
    void Start();
    // Command kCtlCameraList.
    void OnToggle();
    // The console's size, the session or the cameras may have changed.
    void Update();

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Row {
        int server;
        int channel;
        std::string recorder;
        std::string name;
        CellState state;
    };

    std::vector<Row> Rows() const;
    void Place();
    void Fill();
    void ShowState(QTreeWidgetItem& item, const Row& row) const;
    void Filter();
    bool OnTreeKey(int key);
    void OnMouse(const QMouseEvent& event);
    void MoveDrag(const QPoint& screen);
    void EndDrag();
    void PutInto(int channel, CVideoWnd* cell);
    void OpenAlone(int channel);

    Desk& m_desk;
    ConsoleControls& m_controls;
    ViewController& m_view;
    StyleCommand& m_styles;
    const CellPool& m_cells;
    const CameraList& m_cameras;
    const RecorderList& m_recorders;
    QLineEdit* m_search;
    QTreeWidget* m_tree;
    std::vector<Row> m_rows;
    int m_pressed = -1;  // the channel of the row that the button went down on
    QPoint m_pressedAt;
    bool m_bDragging = false;
    QPointer<QLabel> m_ghost;
    QPointer<QWidget> m_mark;
};

}  // namespace kvmon
