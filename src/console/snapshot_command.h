// Command 1750: the active camera's picture into a file.
#pragma once

#include <string>

namespace kvmon {

class CMainDlg;

// Asks for the name when the options say so; a picture that cannot be saved is told of in a box.
void TakeSnapshot(CMainDlg& dlg);

}  // namespace kvmon
