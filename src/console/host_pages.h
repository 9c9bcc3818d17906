// Pages of recorders and cameras beside the console.
#pragma once

#include <cstdint>
#include <string>

namespace kvmon {

class CMainDlg;

// An address that a browser may be sent to: HTTP or HTTPS, well formed, with a host. Hosts and paths are a
// recorder's or a page's word, so everything that is opened is asked about here.
bool IsWebPage(const std::string& url);

// Command 1610: hands the address of the active camera's settings to whoever embeds the console.
void GotoCameraSettings(CMainDlg& dlg);

// Command 1754: shows the page of the active camera in a browser.
void OpenCameraHome(CMainDlg& dlg);

// The address of a page on a camera; empty without a host or a path. Without a password the user stands
// alone.
std::string CameraPageUrl(const std::string& host, std::uint32_t port, const std::string& path,
                          const std::string& user = {}, const std::string& password = {});

}  // namespace kvmon
