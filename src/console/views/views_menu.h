// The menu of the named views.
#pragma once

#include "console/views/named_view.h"

namespace kvmon {

class BCMenu;
class ViewSwitch;

inline constexpr int kCmdViews = 7101;       // opens the dialog
inline constexpr int kCmdFirstView = 17100;  // away from the numbers of texts, which other commands have
inline constexpr int kCmdLastView = kCmdFirstView + static_cast<int>(kMaxViews) - 1;

// Without a session there is no wall to show a view, but the list can be edited.
void AppendViews(BCMenu& menu, const ViewSwitch& views, bool bInSession);
// The same as a menu below an entry.
void AppendViewsMenu(BCMenu& menu, const ViewSwitch& views, bool bInSession);

}  // namespace kvmon
