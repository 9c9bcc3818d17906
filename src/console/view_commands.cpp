#include "console/view_commands.h"

#include <QtGui/QGuiApplication>

#include "channel/base_camera.h"
#include "console/main_dlg.h"
#include "console/menu_spot.h"
#include "console/message_box.h"
#include "console/pip_dialog.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "skin/bc_menu.h"
#include "skin/xskin_od_button.h"

namespace kvmon {

namespace {

constexpr int kFirstCustomItem = 1700;

QStringList MonitorableNames(CMainDlg& dlg) {
    const CameraList& cameras = dlg.Cameras();
    QStringList names;
    for (int n = 0; n < cameras.GetCount(); ++n) {
        const auto camera = cameras.GetCameraByChannel(n);
        names << (dlg.View().IsMonitorable(n) ? QString::fromStdString(camera->GetCameraName()) : QString());
    }
    return names;
}

void TakePipSettings(CMainDlg& dlg, const PipDialog& dialog) {
    dlg.View().Orders().PipList() = dialog.List();
    Registry().WriteProfileInt(dlg.KeyName(), "PIPChildChannel",
                               static_cast<std::uint32_t>(dialog.Children()));
    dlg.PressButton(kCtlPip);
}

}  // namespace

void OnBtnChannelSetting(CMainDlg& dlg) {
    if (dlg.GetButton(kCtlLastStyle) == nullptr) {
        return;
    }
    const MenuSpot spot = SpotForMenu(dlg, kCtlLastStyle);
    ViewController& view = dlg.View();
    const bool bCustom = view.GetStyle() == VIEW_STYLE_CUSTOM;
    auto* const menu = new BCMenu(spot.owner);
    for (std::uint32_t style = 0; style < CCustomChannelStyle::kStyleCount; ++style) {
        const bool bChecked = bCustom && style == view.Orders().Custom().GetStyle();
        menu->AppendMenu(bChecked ? MF_CHECKED : 0, kFirstCustomItem + static_cast<int>(style),
                         CCustomChannelStyle::MenuText(style));
    }
    menu->TrackPopupMenu(spot.at, {}, [&view](int id) {
        if (id != 0) {
            view.SelectCustomStyle(static_cast<std::uint32_t>(id - kFirstCustomItem));
        }
        view.ViewStyleChanged(view.GetStyle(), true, false);
    });
}

void OpenPipSettings(CMainDlg& dlg) {
    const int children = PipChildCount(Registry().GetProfileInt(dlg.KeyName(), "PIPChildChannel", 0),
                                       dlg.View().GetShowableCount());
    auto* const dialog = new PipDialog(MonitorableNames(dlg), dlg.View().Orders().PipList(), children,
                                       dlg.Screens().DialogHost());
    QObject::connect(dialog, &QDialog::accepted, &dlg, [&dlg, dialog] { TakePipSettings(dlg, *dialog); });
    OpenDialog(dialog);
}

void OnBtnMainMenu(CMainDlg& dlg) {
    if (dlg.GetButton(kCtlMainMenu) == nullptr) {
        return;
    }
    const MenuSpot spot = SpotForMenu(dlg, kCtlMainMenu);
    const unsigned displays = dlg.View().GetDisplayCount() > 1        ? MF_CHECKED
                              : QGuiApplication::screens().size() > 1 ? 0u
                                                                      : MF_GRAYED;
    auto* const menu = new BCMenu(spot.owner);
    menu->AppendMenu(0, kCtlGotoPage1, LoadString(6241));
    menu->AppendMenu(0, kCtlOptions, LoadString(6206));
    menu->AppendMenu(displays, kCtlMultiScreens, LoadString(6204));
    menu->AppendMenu(MF_SEPARATOR, 0, {});
    const unsigned inSession = dlg.Binding().IsInitialised() && dlg.IsLoggedIn() ? 0u : MF_GRAYED;
    const std::size_t unread = dlg.Events().Events().UnreadCount();
    const std::string events = LoadString(kCmdEvents);
    menu->AppendMenu(inSession, kCmdEvents,
                     unread > 0 ? events + " (" + std::to_string(unread) + ")" : events);
    menu->AppendMenu(inSession, kCmdEMap, LoadString(kCmdEMap));
    menu->AppendMenu(inSession, kCmdDiskStatus, LoadString(kCmdDiskStatus));
    menu->AppendMenu(MF_SEPARATOR, 0, {});
    menu->AppendMenu(MF_GRAYED, 1601, LoadString(6242));
    menu->AppendMenu(inSession, kCtlRecorders, LoadString(6126));
    menu->TrackPopupMenu(spot.at, {}, [&dlg](int id) {
        if (id != 0) {
            dlg.PressButton(id);
        }
    });
}

}  // namespace kvmon
