#include "console/menu_spot.h"

#include <QtGui/QCursor>

#include "channel/channel_view.h"
#include "channel/video_wnd.h"
#include "console/main_dlg.h"
#include "skin/xskin_od_button.h"

namespace kvmon {

MenuSpot SpotForMenu(CMainDlg& dlg, int control) {
    QWidget* const host = dlg.Screens().DialogHost();
    const QWidget* const button = dlg.GetButton(control);
    if (host == &dlg && button != nullptr && button->isVisible()) {
        return {host, button->mapToGlobal(QPoint(0, button->height()))};
    }
    CVideoWnd* const cell = dlg.View().Cells().GetActive();
    if (cell != nullptr && cell->isVisible() && dlg.Screens().HostOf(*cell) == host) {
        const CChannelView& view = cell->View();
        return {host, view.mapToGlobal(view.rect().center()), false};
    }
    const QPoint pointer = QCursor::pos();
    const bool bOver = host->rect().contains(host->mapFromGlobal(pointer));
    return {host, bOver ? pointer : host->mapToGlobal(host->rect().center()), false};
}

}  // namespace kvmon
