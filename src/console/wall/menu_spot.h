// Where a menu opens.
#pragma once

#include <QtCore/QPoint>

class QWidget;

namespace kvmon {

class CellPool;
class Desk;
class PanelButtons;

struct MenuSpot {
    QWidget* owner;
    QPoint below;           // on the screen: below the button, or over the pictures
    QPoint above;           // the same, for menus that open upwards
    bool bAtButton = true;  // else over the pictures, as the button cannot be seen from there
};

// User interface thread only.
class MenuSpots {
public:
    MenuSpots(Desk& desk, const PanelButtons& buttons, const CellPool& cells)
        : m_desk(desk), m_buttons(buttons), m_cells(cells) {}

    // For a menu that belongs to a control of the panel: beside it, and where the panel is hidden or on
    // another display, at the active cell, or at the pointer.
    MenuSpot Find(int control) const;

private:
    Desk& m_desk;
    const PanelButtons& m_buttons;
    const CellPool& m_cells;
};

}  // namespace kvmon
