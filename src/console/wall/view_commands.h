// Commands of the view that ask first: the custom grids' menu and picture-in-picture's settings.
#pragma once

namespace kvmon {

class CameraList;
class Commands;
class Desk;
class MenuSpots;
class StyleCommand;
class ViewController;

// Command kCtlLastStyle.
void OpenCustomStyles(const MenuSpots& spots, ViewController& view, StyleCommand& styles);
// Command kCtlPipSettings.
void OpenPipSettings(Desk& desk, Commands& commands, ViewController& view, const CameraList& cameras);

}  // namespace kvmon
