// A cell on its way to another's place.
#pragma once

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtWidgets/QWidget>
#include <memory>

namespace kvmon {

class CVideoWnd;
class CameraList;
class CellPool;
class Desk;
class ViewController;

// While a cell is dragged: a small picture of it goes with the pointer, its own place is dimmed and the place
// that it would take is marked. The view decides what a drop does. Escape, another view and the loss of the
// keyboard end the drag. User interface thread only.
class CellDrag : public QObject {
public:
    CellDrag(const Desk& desk, const CellPool& cells, ViewController& view, const CameraList& cameras);
    ~CellDrag() override;

    // True if the channel is shown in a style whose cells can change places.
    bool MayBegin(int channel) const;
    // Does nothing without a cell that shows the channel.
    void Begin(int channel, const QPoint& screen);
    // False when the drag was ended meanwhile.
    bool Move(int channel, const QPoint& screen);
    // True if it was still going on.
    bool End(int channel);
    void Cancel();
    bool IsOn() const { return m_channel >= 0; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void MarkTarget(CVideoWnd* target);

    const Desk& m_desk;
    const CellPool& m_cells;
    ViewController& m_view;
    const CameraList& m_cameras;
    int m_channel = -1;
    QPointer<QWidget> m_ghost;
    QPointer<QWidget> m_veil;  // over the cell that is dragged
    QPointer<QWidget> m_mark;  // over the cell that it would change places with
    QPointer<CVideoWnd> m_target;
};

}  // namespace kvmon
