#include "console/views/views_menu.h"

#include <algorithm>

#include "console/panel/console_keys.h"
#include "console/views/view_switch.h"
#include "persist/string_table.h"
#include "skin/bc_menu.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrViews = 7100;
constexpr std::uint32_t kStrEdit = 7101;

}  // namespace

void AppendViewsMenu(BCMenu& menu, const ViewSwitch& views, bool bInSession) {
    BCMenu* const popup = menu.AppendPopup(LoadString(kStrViews));
    const std::vector<NamedView>& all = views.List().All();
    const std::string& shown = views.Sequence().empty() ? views.Current() : views.Sequence();
    for (std::size_t i = 0; i < std::min(all.size(), kMaxViews); ++i) {
        const int key = kKeyFirstView + static_cast<int>(i);
        std::string text = EscapeMenuText(all[i].name);
        if (key <= kKeyLastView) {
            text += "\t" + ShortcutName(key).toStdString();
        }
        const unsigned flags = (bInSession ? 0u : MF_GRAYED) | (all[i].name == shown ? MF_CHECKED : 0u);
        popup->AppendMenu(flags, kCmdFirstView + static_cast<int>(i), text);
    }
    if (!all.empty()) {
        popup->AppendMenu(MF_SEPARATOR, 0, {});
    }
    popup->AppendMenu(0, kCmdViews, LoadString(kStrEdit));
}

}  // namespace kvmon
