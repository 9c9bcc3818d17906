// Pages about the active camera, beside the console.
#pragma once

namespace kvmon {

class ActiveCamera;
class ClientSite;
class Desk;

// Command 1610: hands the address of the active camera's settings to whoever embeds the console.
void GotoCameraSettings(const ActiveCamera& active, Desk& desk, ClientSite& site);

// Command 1754: shows the page of the active camera in a browser.
void OpenCameraHome(const ActiveCamera& active, Desk& desk, ClientSite& site);

}  // namespace kvmon
