#include "console/wall/cell_focus.h"

#include <QtWidgets/QApplication>
#include <algorithm>
#include <utility>

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/ports/desk.h"
#include "console/wall/cell_pool.h"
#include "console/wall/view_controller.h"
#include "skin/window_base.h"

namespace kvmon {

bool CellFocus::HasFocus() const {
    return m_cells.IndexOf(dynamic_cast<CVideoWnd*>(QApplication::focusWidget())) >= 0;
}

// As a key that the user pressed: the ring shows.
void CellFocus::Give() {
    CVideoWnd* const cell = m_cells.GetActive();
    if (cell != nullptr && cell->isVisible()) {
        cell->setFocus(Qt::ShortcutFocusReason);
    }
}

void CellFocus::Move(CellMove move) {
    std::vector<PixelRect> places;
    std::vector<CVideoWnd*> cells;
    for (int n = 0; n < m_cells.GetCount(); ++n) {
        CVideoWnd* const cell = m_cells.Get(n);
        if (cell != nullptr && cell->isVisible() && cell->GetCamera()) {
            const QRect place(cell->mapToGlobal(QPoint(0, 0)), cell->size());
            places.push_back(
                {place.left(), place.top(), place.left() + place.width(), place.top() + place.height()});
            cells.push_back(cell);
        }
    }
    if (m_view.GetStyle() == VIEW_STYLE_SINGLE_1CH && cells.size() < 2) {
        m_view.TurnPage(move == CellMove::Left || move == CellMove::Up ? -1 : 1);
        Give();
        return;
    }
    const auto from = std::find(cells.begin(), cells.end(), m_cells.GetActive());
    const int next =
        FindCellMove(places, from != cells.end() ? static_cast<int>(from - cells.begin()) : -1, move);
    if (next >= 0) {
        m_view.ChooseWindow(cells[static_cast<std::size_t>(next)]);
        Give();
    }
}

void CellFocus::OnCellFocused(int window) {
    CVideoWnd* const cell = m_cells.Get(window);
    if (cell != nullptr && cell != m_cells.GetActive() && cell->hasFocus()) {
        m_view.ChooseWindow(cell);
    }
}

void CellFocus::OnPlacesChange() {
    if (HasFocus()) {
        m_bHeld = true;
        QApplication::focusWidget()->parentWidget()->setFocus();
    }
}

void CellFocus::OnWallChanged() {
    OnActiveCellChanged();
    if (std::exchange(m_bHeld, false)) {
        Give();
    }
}

std::vector<QWidget*> CellFocus::Stops() const {
    std::vector<QWidget*> stops;
    for (int n = 0; n < m_cells.GetCount(); ++n) {
        CVideoWnd* const cell = m_cells.Get(n);
        if (cell != nullptr && cell->parentWidget() == &m_desk.Window()) {
            stops.push_back(cell);
        }
    }
    return stops;
}

bool CellFocus::TakeChangeOfStops() {
    std::vector<QWidget*> stops = Stops();
    const bool bChanged = stops != m_stops;
    m_stops = std::move(stops);
    return bChanged;
}

// One stop for the whole wall, however many cells it has.
void CellFocus::OnActiveCellChanged() {
    const CVideoWnd* const active = m_cells.GetActive();
    for (int n = 0; n < m_cells.GetCount(); ++n) {
        if (CVideoWnd* const cell = m_cells.Get(n)) {
            cell->setFocusPolicy(cell == active ? Qt::TabFocus : Qt::NoFocus);
        }
    }
    if (HasFocus()) {
        Give();
    }
}

}  // namespace kvmon
