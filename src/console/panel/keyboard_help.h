// The window that tells the keys and the signs in the cells.
#pragma once

namespace kvmon {

class Desk;
class PanelButtons;

// All keys with what they do, in a window of its own; a second one is not opened.
void OpenKeyboardHelp(Desk& desk, const PanelButtons& buttons);

}  // namespace kvmon
