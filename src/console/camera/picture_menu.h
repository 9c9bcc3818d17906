// How a channel's picture and the texts on it look, for the cell's menu.
#pragma once

namespace kvmon {

class BCMenu;
class CBaseCamera;

// Appends the entry with its menus below it.
void AppendPictureMenu(BCMenu& menu, const CBaseCamera& camera);
// True if the command was one of that menu's.
bool OnPictureCommand(int id, CBaseCamera& camera);

}  // namespace kvmon
