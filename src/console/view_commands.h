// Commands of the view that ask first: the custom grids' menu, picture-in-picture's settings, the main menu.
#pragma once

namespace kvmon {

class CMainDlg;

// Command 1659.
void OnBtnChannelSetting(CMainDlg& dlg);
// Command 1650.
void OpenPipSettings(CMainDlg& dlg);
// Command 1612.
void OnBtnMainMenu(CMainDlg& dlg);

}  // namespace kvmon
