#include "console/recorders/wall_title.h"

#include <algorithm>

#include "console/panel/console_controls.h"
#include "console/ports/client_site.h"
#include "console/ports/desk.h"
#include "console/wall/view_controller.h"
#include "persist/string_table.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

// As the arrangement's button names it.
std::string StyleName(ViewController& view) {
    const ViewStyle style = view.CheckedStyle();
    if (style == VIEW_STYLE_CUSTOM) {
        return CCustomChannelStyle::MenuText(view.Orders().Custom().GetStyle());
    }
    for (const auto table : {ControlTable(), ToolTable()}) {
        const auto row = std::find_if(table.begin(), table.end(), [style](const SkinControlRow& each) {
            return each.id == StyleButtonId(style);
        });
        if (row != table.end()) {
            return LoadString(row->tooltip);
        }
    }
    return {};
}

}  // namespace

void WallTitle::SetViewName(const std::string& name) {
    m_viewName = name;
    Update();
}

std::string WallTitle::Compose() const {
    const CKelvaraInfo* const first = m_recorders.GetServer(0);
    if (!m_desk.IsLoggedIn() || first == nullptr) {
        return {};
    }
    std::string name = first->GetServerName();
    name = name.empty() ? first->GetHost() : name;
    if (!m_viewName.empty()) {
        return name + " - " + m_viewName;
    }
    const bool bWall = m_view.GetStyle() < kViewStyleCount;  // further recorders may keep it waiting
    return bWall ? name + " - " + StyleName(m_view) : name;
}

void WallTitle::Update() {
    const std::string title = Compose();
    if (m_told != title) {
        m_told = title;
        m_site.ShowTitle(title);
    }
}

}  // namespace kvmon
