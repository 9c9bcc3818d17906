// Where a menu opens.
#pragma once

#include <QtCore/QPoint>

class QWidget;

namespace kvmon {

class CMainDlg;

struct MenuSpot {
    QWidget* owner;
    QPoint at;              // on the screen
    bool bAtButton = true;  // else over the pictures, as the button cannot be seen from there
};

// For a menu that belongs to a control of the panel: below it, and where the panel is hidden or on another
// display, at the active cell, or at the pointer.
MenuSpot SpotForMenu(CMainDlg& dlg, int control);

}  // namespace kvmon
