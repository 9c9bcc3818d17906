#include "console/wall/menu_spot.h"

#include <QtCore/QRect>
#include <QtGui/QCursor>

#include "channel/cell/channel_view.h"
#include "channel/cell/video_wnd.h"
#include "console/ports/desk.h"
#include "console/ports/panel_buttons.h"
#include "console/wall/cell_pool.h"

namespace kvmon {

MenuSpot MenuSpots::Find(int control) const {
    QWidget* const host = m_desk.DialogHost();
    const QRect button = m_buttons.Place(control);
    if (host == &m_desk.Window() && !button.isEmpty()) {
        return {host, QPoint(button.left(), button.top() + button.height()), button.topLeft()};
    }
    const auto over = [host](const QPoint& point) { return MenuSpot{host, point, point, false}; };
    CVideoWnd* const cell = m_cells.GetActive();
    if (cell != nullptr && cell->isVisible() && m_desk.HostOf(*cell) == host) {
        const CChannelView& view = cell->View();
        return over(view.mapToGlobal(view.rect().center()));
    }
    const QPoint pointer = QCursor::pos();
    const bool bOver = host->rect().contains(host->mapFromGlobal(pointer));
    return over(bOver ? pointer : host->mapToGlobal(host->rect().center()));
}

}  // namespace kvmon
