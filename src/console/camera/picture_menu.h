// How channels' pictures and the texts on them look, for the cell's menu.
#pragma once

#include <memory>
#include <span>

namespace kvmon {

class BCMenu;
class CBaseCamera;

using PictureCameras = std::span<const std::shared_ptr<CBaseCamera>>;

// Appends an entry for the cell's camera and one for all of them, with their menus below.
void AppendPictureMenus(BCMenu& menu, PictureCameras one, PictureCameras all);
// True if the command was one of those menus'. What it sets is kept.
bool OnPictureCommand(int id, PictureCameras one, PictureCameras all);

}  // namespace kvmon
