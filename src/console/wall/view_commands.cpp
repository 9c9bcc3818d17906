#include "console/wall/view_commands.h"

#include "channel/camera/base_camera.h"
#include "console/dialogs/message_box.h"
#include "console/dialogs/pip_dialog.h"
#include "console/panel/console_controls.h"
#include "console/ports/commands.h"
#include "console/ports/desk.h"
#include "console/wall/camera_list.h"
#include "console/wall/menu_spot.h"
#include "console/wall/style_command.h"
#include "console/wall/view_controller.h"
#include "skin/bc_menu.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr int kFirstCustomItem = 1700;

QStringList MonitorableNames(const ViewController& view, const CameraList& cameras) {
    QStringList names;
    for (int n = 0; n < cameras.GetCount(); ++n) {
        const auto camera = cameras.GetCameraByChannel(n);
        names << (view.IsMonitorable(n) ? QString::fromStdString(camera->GetCameraName()) : QString());
    }
    return names;
}

}  // namespace

void OpenCustomStyles(const MenuSpots& spots, ViewController& view, StyleCommand& styles) {
    const MenuSpot spot = spots.Find(kCtlLastStyle);
    const bool bCustom = view.GetStyle() == VIEW_STYLE_CUSTOM;
    auto* const menu = new BCMenu(spot.owner);
    for (std::uint32_t style = 0; style < CCustomChannelStyle::kStyleCount; ++style) {
        const bool bChecked = bCustom && style == view.Orders().Custom().GetStyle();
        menu->AppendMenu(bChecked ? MF_CHECKED : 0, kFirstCustomItem + static_cast<int>(style),
                         CCustomChannelStyle::MenuText(style));
    }
    menu->TrackPopupMenu(spot.below, {}, [&view, &styles](int id) {
        if (id != 0) {
            styles.SelectCustomStyle(static_cast<std::uint32_t>(id - kFirstCustomItem));
        }
        view.ViewStyleChanged(view.GetStyle(), {.bUpdateButtons = true});
    });
}

void OpenPipSettings(Desk& desk, Commands& commands, ViewController& view, const CameraList& cameras) {
    auto* const dialog = new PipDialog(MonitorableNames(view, cameras), view.Orders().PipList(),
                                       view.PipChildren(), desk.DialogHost());
    QObject::connect(dialog, &QDialog::accepted, &desk.Window(), [&commands, &view, dialog] {
        view.Orders().PipList() = dialog->List();
        view.SetPipChildren(dialog->Children());
        commands.Press(kCtlPip);
    });
    OpenDialog(dialog);
}

}  // namespace kvmon
