#include "console/host_pages.h"

#include <QtCore/QRandomGenerator>
#include <QtCore/QUrl>

#include "channel/base_camera.h"
#include "channel/video_wnd.h"
#include "console/main_dlg.h"
#include "platform/text.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxAddress = 4096;

// As part of an address: what would end that part is escaped.
std::string AddressPart(const std::string& text) {
    return QUrl::toPercentEncoding(QString::fromStdString(text)).toStdString();
}

}  // namespace

bool IsWebPage(const std::string& url) {
    if (url.size() > kMaxAddress) {
        return false;
    }
    const QUrl page(QString::fromStdString(url), QUrl::StrictMode);
    const QString scheme = page.scheme();
    return page.isValid() && !page.host().isEmpty() &&
           (scheme == QLatin1String("http") || scheme == QLatin1String("https"));
}

void GotoCameraSettings(CMainDlg& dlg) {
    const auto camera = dlg.View().Cells().GetActiveCamera();
    const CameraList::Entry entry = dlg.Cameras().Get(dlg.Cameras().FindChannel(camera.get()));
    const CKelvaraInfo* const server = dlg.Recorders().GetServer(entry.server);
    if (server == nullptr) {
        return;
    }
    dlg.Screens().MakeRoom();
    // The number defeats the caches on the way.
    const int count = static_cast<int>(QRandomGenerator::global()->bounded(0x7FFFFFFF));
    dlg.Site().NotifyGotoServer(
        1, FormatText("http://%s:%d/cgi-bin/camsetting.cgi?count=%010d&camid=%d", server->GetHost().c_str(),
                      static_cast<int>(server->GetPort()), count, entry.camera + 1));
}

std::string CameraPageUrl(const std::string& host, std::uint32_t port, const std::string& path,
                          const std::string& user, const std::string& password) {
    if (host.empty() || path.empty()) {
        return {};
    }
    std::string prefix;
    if (!user.empty()) {
        prefix = AddressPart(user) + (password.empty() ? "" : ":" + AddressPart(password)) + "@";
    }
    return FormatText("http://%s%s:%u%s%s", prefix.c_str(), host.c_str(), port,
                      path.front() == '/' ? "" : "/", path.c_str());
}

void OpenCameraHome(CMainDlg& dlg) {
    const auto camera = dlg.View().Cells().GetActiveCamera();
    const CameraList::Entry entry = dlg.Cameras().Get(dlg.Cameras().FindChannel(camera.get()));
    const CKelvaraInfo* const server = dlg.Recorders().GetServer(entry.server);
    CameraSettings settings;
    if (server == nullptr || !server->GetCameraSetting(entry.camera, &settings)) {
        return;
    }
    const NetworkSetting& lan = settings.m_NetworkSetting[0];
    const std::string url = CameraPageUrl(std::string(lan.szAddress.View()), lan.nPort, "/");
    if (IsWebPage(url)) {
        dlg.Screens().MakeRoom();
        dlg.Site().OpenPage(url);
    }
}

}  // namespace kvmon
