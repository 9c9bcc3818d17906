// The view as it is stored between sessions, under the key named after the first server.
#include <QtWidgets/QComboBox>
#include <algorithm>

#include "channel/cell/video_wnd.h"
#include "console/panel/console_controls.h"
#include "console/ports/commands.h"
#include "console/ports/wall_events.h"
#include "console/settings/console_settings.h"
#include "console/wall/camera_list.h"
#include "console/wall/view_controller.h"
#include "persist/orvo_registry.h"

namespace kvmon {

namespace {

constexpr std::string_view kPipChildren = "PIPChildChannel";
constexpr std::string_view kEmptyCells = "EmptyCells";

}  // namespace

int ViewController::PipChildren() {
    if (m_pipKey != m_settings.key) {
        m_pipKey = m_settings.key;
        m_pipChildren = Registry().GetProfileInt(m_settings.key, kPipChildren, 0);
    }
    return PipChildCount(m_pipChildren, GetShowableCount());
}

void ViewController::SetPipChildren(int children) {
    m_pipKey = m_settings.key;
    m_pipChildren = static_cast<std::uint32_t>(children);
    Registry().WriteProfileInt(m_settings.key, kPipChildren, m_pipChildren);
}

void ViewController::SaveViewState(const std::string& key) {
    // Before the first view there is nothing that a user has seen; what was read in part is less than what is
    // stored.
    if (key.empty() || m_cells.GetCount() == 0 || m_bStateInPart) {
        return;
    }
    COrvoRegistry& registry = Registry();
    const COrvoRegistry::Batch together(registry);
    m_orders.Save(registry, key);
    if (m_emptyCells != 0 || registry.GetProfileInt(key, kEmptyCells, 0) != 0) {
        registry.WriteProfileInt(key, kEmptyCells, static_cast<std::uint32_t>(m_emptyCells));
    }
    registry.WriteProfileInt(key, "ViewStyle", static_cast<std::uint32_t>(m_nStyle));
    // The single style's page is the active window's camera, as its place in the combo.
    const int page = m_nStyle == VIEW_STYLE_SINGLE_1CH
                         ? m_combo->findData(m_cameras.FindChannel(m_cells.GetActiveCamera().get()))
                         : m_combo->currentIndex();
    registry.WriteProfileInt(key, "PageIdx", static_cast<std::uint32_t>(page));
    registry.WriteProfileInt(key, "MaxViewMode", m_bMaxViewMode ? 1 : 0);
    ConsoleControls& controls = m_controls;
    registry.WriteProfileInt(key, "SequentialMode", controls.IsPressed(kCtlSequential) ? 1 : 0);
    registry.WriteProfileInt(key, "EnableAudio", controls.IsPressed(kCtlAudio) ? 1 : 0);
    m_events.OnViewSaved(key);
}

void ViewController::LoadViewState(const std::string& key) {
    const COrvoRegistry& registry = Registry();
    m_bStateInPart = true;
    // Before the orders, whose numbers go beyond the cameras' by these.
    SetEmptyCells(static_cast<int>(std::min(registry.GetProfileInt(key, kEmptyCells, 0), 0xFFFFu)));
    m_orders.Load(registry, key);

    const bool bManyCameras = GetShowableCount() >= kManyCameras;
    std::uint32_t style = registry.GetProfileInt(key, "ViewStyle", bManyCameras ? 4 : 2);
    if (bManyCameras) {
        style = style >= kViewStyleCount ? 4 : style;
    } else if (style > 2) {
        style = 2;
    }
    const auto checked = static_cast<ViewStyle>(style);
    ShowCombo(checked == VIEW_STYLE_SINGLE_1CH || checked == VIEW_STYLE_4CH);
    if (registry.GetProfileInt(key, "SequentialMode", 0) == 1 && !m_controls.IsPressed(kCtlSequential)) {
        m_commands.Press(kCtlSequential);
    }
    ViewStyleChanged(checked, {.bUpdateButtons = true, .bForce = true});

    int item = -1;
    if (checked == VIEW_STYLE_SINGLE_1CH) {
        item = static_cast<int>(registry.GetProfileInt(key, "PageIdx", 0xFFFFFFFF));
    } else if (CChannelArray* const array = m_orders.Find(checked)) {
        item = static_cast<int>(array->GetCurPage()) / GetDisplayCount();
    }
    if (item >= 0 && item < m_combo->count()) {
        m_combo->setCurrentIndex(item);
        OnSelchangePage();
    }
    m_nSavedStyle = m_nStyle;
    OnSelchangePage();
    m_events.OnViewLoaded(key);
    m_bStateInPart = false;
}

}  // namespace kvmon
