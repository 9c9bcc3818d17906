// Pages beside the console: the help, and a camera's settings at its recorder.
#pragma once

#include <string>

namespace kvmon {

class CMainDlg;

// The help's address at a topic, 0 to 11; empty for another number or without an address.
std::string HelpAddress(const std::string& url, int topic);

// Command 1607 with topic 0, and message 1028: shows the help in the desktop's browser.
void OpenHelp(const std::string& url, int topic);

// Command 1610: hands the address of the active camera's settings to whoever embeds the console.
void GotoCameraSettings(CMainDlg& dlg);

}  // namespace kvmon
