// The cells by the keyboard: the arrows choose the active one, which is the wall's stop for the tab key.
#pragma once

#include "console/layout/cell_moves.h"

class QWidget;

namespace kvmon {

class CellPool;
class Desk;
class ViewController;

// The focus and the active cell go together: where a cell has the focus it is the active one. User interface
// thread only.
class CellFocus {
public:
    CellFocus(Desk& desk, CellPool& cells, ViewController& view)
        : m_desk(desk), m_cells(cells), m_view(view) {}

    // The next cell there that has a camera; in the single style the next or the previous camera.
    void Move(CellMove move);
    // A cell got the focus by itself, as by an assistive tool.
    void OnCellFocused(int window);

    // Cells are about to be hidden and shown: a focus on one of them must not wander off.
    void OnPlacesChange();
    void OnWallChanged();
    void OnActiveCellChanged();

    // The console's cells in the order of the tab key; true when they have become others, or came home.
    std::vector<QWidget*> Stops() const;
    bool TakeChangeOfStops();

private:
    bool HasFocus() const;
    void Give();

    Desk& m_desk;
    CellPool& m_cells;
    ViewController& m_view;
    std::vector<QWidget*> m_stops;
    bool m_bHeld = false;  // the focus comes back to a cell after the layout
};

}  // namespace kvmon
