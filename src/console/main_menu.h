// The console's own menu.
#pragma once

#include <cstddef>

namespace kvmon {

class Commands;
class MenuSpots;
class ViewSwitch;

struct MainMenuState {
    int displays = 1;         // that the wall covers now
    bool bInSession = false;  // what asks a recorder can be chosen
    bool bMayQuit = false;
    bool bHasDesktop = false;
    bool bMayChangeCameras = false;
    std::size_t unreadEvents = 0;
    bool bHasWalls = false;  // there may be walls on further displays
    bool bWallsOn = false;   // on all of them
    bool bHasHelp = false;
};

// Command kCtlMainMenu.
void OpenMainMenu(const MainMenuState& state, const ViewSwitch& views, const MenuSpots& spots,
                  Commands& commands);

}  // namespace kvmon
