#include "console/host_pages.h"

#include <QtCore/QRandomGenerator>
#include <QtCore/QUrl>
#include <QtGui/QDesktopServices>
#include <iterator>

#include "channel/base_camera.h"
#include "channel/video_wnd.h"
#include "console/main_dlg.h"
#include "platform/text.h"
#include "server/kelvara_info.h"

namespace kvmon {

namespace {

constexpr const char* kTopics[] = {
    "monitor",    "playback",      "cfg_system",   "cfg_network", "cfg_ipsecurity", "cfg_user",
    "cfg_camera", "cfg_recording", "cfg_snapshot", "cfg_event",   "cfg_statistic",  "cfg_systool",
};

}  // namespace

std::string HelpAddress(const std::string& url, int topic) {
    if (url.empty() || topic < 0 || topic >= static_cast<int>(std::size(kTopics))) {
        return {};
    }
    return url + "#" + kTopics[topic];
}

void OpenHelp(const std::string& url, int topic) {
    const QUrl page(QString::fromStdString(HelpAddress(url, topic)), QUrl::StrictMode);
    const QString scheme = page.scheme();
    if (page.isValid() && (scheme == QLatin1String("http") || scheme == QLatin1String("file"))) {
        QDesktopServices::openUrl(page);
    }
}

void GotoCameraSettings(CMainDlg& dlg) {
    const auto camera = dlg.View().Cells().GetActiveCamera();
    const CameraList::Entry entry = dlg.Cameras().Get(dlg.Cameras().FindChannel(camera.get()));
    const CKelvaraInfo* const server = GetServer(entry.server);
    if (server == nullptr) {
        return;
    }
    // The number defeats the caches on the way.
    const int count = static_cast<int>(QRandomGenerator::global()->bounded(0x7FFFFFFF));
    dlg.Site().NotifyGotoServer(
        1, FormatText("http://%s:%d/cgi-bin/camsetting.cgi?count=%010d&camid=%d", server->GetHost().c_str(),
                      static_cast<int>(server->GetPort()), count, entry.camera + 1));
}

}  // namespace kvmon
