// A row of the drawer on its way into a cell.
#pragma once

#include <QtCore/QPoint>
#include <QtCore/QPointer>
#include <QtCore/QString>

class QLabel;
class QWidget;

namespace kvmon {

class CVideoWnd;
class CellPool;

// User interface thread only.
class DrawerDrag {
public:
    DrawerDrag(QWidget& drawer, const CellPool& cells) : m_drawer(drawer), m_cells(cells) {}
    ~DrawerDrag() { End(); }
    DrawerDrag(const DrawerDrag&) = delete;
    DrawerDrag& operator=(const DrawerDrag&) = delete;

    // The button went down on the row of this channel, -1 for none. It becomes a drag with the first real
    // move.
    void Press(int channel, const QString& name, const QPoint& screen);
    bool IsPressed() const { return m_channel >= 0; }
    bool IsOn() const { return m_bOn; }
    void Move(const QPoint& screen);
    void End();
    // Ends the drag with the cell that gets the channel; null for none.
    CVideoWnd* Drop(const QPoint& screen, int* channel);

private:
    bool IsInDrawer(const QPoint& screen) const;

    QWidget& m_drawer;
    const CellPool& m_cells;
    int m_channel = -1;
    QString m_name;
    QPoint m_pressedAt;
    bool m_bOn = false;
    QPointer<QLabel> m_ghost;
    QPointer<QWidget> m_mark;
};

}  // namespace kvmon
