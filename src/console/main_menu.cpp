#include "console/main_menu.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QScreen>

#include "console/admin/camera_admin.h"
#include "console/camera/snapshot_command.h"
#include "console/panel/console_controls.h"
#include "console/panel/console_keys.h"
#include "console/ports/commands.h"
#include "console/site/site_windows.h"
#include "console/views/views_menu.h"
#include "console/wall/menu_spot.h"
#include "persist/string_table.h"
#include "skin/bc_menu.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrMenuLogOut = 4003;
constexpr std::uint32_t kStrHelp = 6207;
constexpr std::uint32_t kStrMenuQuit = 7200;
constexpr std::uint32_t kStrGallery = 7411;
constexpr std::uint32_t kStrMenuWalls = 7657;

// The menu shows the key at its right.
std::string WithKey(std::uint32_t text, int command) {
    return LoadString(text) + "\t" + ShortcutName(command).toStdString();
}

}  // namespace

void OpenMainMenu(const MainMenuState& state, const ViewSwitch& views, const MenuSpots& spots,
                  Commands& commands) {
    const MenuSpot spot = spots.Find(kCtlMainMenu);
    const unsigned displays = state.displays > 1                      ? MF_CHECKED
                              : QGuiApplication::screens().size() > 1 ? 0u
                                                                      : MF_GRAYED;
    auto* const menu = new BCMenu(spot.owner);
    menu->AppendMenu(0, kCtlGotoPage1, LoadString(6241));
    menu->AppendMenu(0, kCtlOptions, LoadString(6206));
    menu->AppendMenu(displays, kCtlMultiScreens, LoadString(6204));
    if (state.bHasWalls) {
        menu->AppendMenu(state.bWallsOn ? MF_CHECKED : 0u, kKeyWalls, WithKey(kStrMenuWalls, kKeyWalls));
    }
    AppendViewsMenu(*menu, views, state.bInSession);
    menu->AppendMenu(MF_SEPARATOR, 0, {});
    const unsigned inSession = state.bInSession ? 0u : MF_GRAYED;
    const std::string events = LoadString(kCmdEvents);
    menu->AppendMenu(
        inSession, kCmdEvents,
        state.unreadEvents > 0 ? events + " (" + std::to_string(state.unreadEvents) + ")" : events);
    menu->AppendMenu(inSession, kCmdEMap, LoadString(kCmdEMap));
    menu->AppendMenu(inSession, kCmdDiskStatus, LoadString(kCmdDiskStatus));
    if (state.bHasDesktop) {
        menu->AppendMenu(0, kCmdGallery, WithKey(kStrGallery, kKeyGallery));
    }
    menu->AppendMenu(MF_SEPARATOR, 0, {});
    menu->AppendMenu(MF_GRAYED, kCtlMultiServers, LoadString(6242));
    menu->AppendMenu(inSession, kCtlRecorders, LoadString(6126));
    if (state.bMayChangeCameras) {
        menu->AppendMenu(0, kCmdCameras, LoadString(kCmdCameras));
    }
    menu->AppendMenu(MF_SEPARATOR, 0, {});
    if (state.bHasHelp) {
        menu->AppendMenu(0, kCtlHelp, WithKey(kStrHelp, kCtlHelp));
    }
    menu->AppendMenu(0, kCtlLogout, WithKey(kStrMenuLogOut, kCtlLogout));
    if (state.bMayQuit) {
        menu->AppendMenu(0, kKeyQuit, WithKey(kStrMenuQuit, kKeyQuit));
    }
    menu->TrackPopupMenu(spot.below, {}, [&commands](int id) {
        if (IsOfKeysAlone(id)) {
            commands.Run(id);
        } else if (id != 0) {
            commands.Press(id);
        }
    });
}

}  // namespace kvmon
