#include "console/camera/camera_pages.h"

#include <QtCore/QRandomGenerator>

#include "console/ports/client_site.h"
#include "console/ports/desk.h"
#include "console/site/web_page.h"
#include "console/wall/active_camera.h"
#include "platform/text.h"
#include "server/kelvara_info.h"

namespace kvmon {

void GotoCameraSettings(const ActiveCamera& active, Desk& desk, ClientSite& site) {
    const CKelvaraInfo* const server = active.Server();
    if (server == nullptr) {
        return;
    }
    desk.MakeRoom();
    // A new number each time, so that no cache answers.
    const int count = static_cast<int>(QRandomGenerator::global()->bounded(0x7FFFFFFF));
    site.NotifyGotoServer(
        1, FormatText("http://%s:%d/cgi-bin/camsetting.cgi?count=%010d&camid=%d", server->GetHost().c_str(),
                      static_cast<int>(server->GetPort()), count, active.Entry().camera + 1));
}

void OpenCameraHome(const ActiveCamera& active, Desk& desk, ClientSite& site) {
    const CKelvaraInfo* const server = active.Server();
    CameraSettings settings;
    if (server == nullptr || !server->GetCameraSetting(active.Entry().camera, &settings)) {
        return;
    }
    const NetworkSetting& lan = settings.m_NetworkSetting[0];
    const std::string url = CameraPageUrl(std::string(lan.szAddress.View()), lan.nPort, "/");
    if (IsWebPage(url)) {
        desk.MakeRoom();
        site.OpenPage(url);
    }
}

}  // namespace kvmon
