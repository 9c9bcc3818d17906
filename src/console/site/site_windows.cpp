#include "console/site/site_windows.h"

#include "console/ports/client_site.h"
#include "console/ports/desk.h"
#include "console/site/disk_status_dlg.h"
#include "console/site/emap_dlg.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

DiskInfo DiskOf(const CKelvaraInfo& info) {
    DiskInfo disk;
    disk.server = info.GetServerName();
    info.GetDiskInfo(&disk.nStatus, &disk.nUsed, disk.size, disk.unit);
    return disk;
}

}  // namespace

SiteWindows::~SiteWindows() = default;

CEMapDlg* SiteWindows::EMap() const {
    return m_emap;
}

CDiskStatusDlg* SiteWindows::DiskStatus() const {
    return m_disk;
}

void SiteWindows::OpenEMap(const std::string& user, const std::string& password) {
    if (m_emap) {
        m_emap->raise();
        m_emap->activateWindow();
        return;
    }
    const EMapSource source{m_site.GetServerIP(), m_site.GetServerPort(), user, password};
    m_emap = new CEMapDlg(m_desk.DialogHost(), source);
    m_emap->Open();
}

void SiteWindows::OpenEMap() {
    const CKelvaraInfo* const first = m_recorders.GetServer(0);
    if (first != nullptr && m_desk.IsLoggedIn()) {
        OpenEMap(first->GetUser(), first->GetPassword());
    }
}

void SiteWindows::Close() {
    if (m_emap) {
        m_emap->close();
        m_emap.clear();  // it deletes itself when its thread has ended; another may open before
    }
    if (m_disk) {
        m_disk->close();
    }
}

void SiteWindows::OpenDiskStatus() {
    if (!m_desk.IsLoggedIn()) {
        return;
    }
    if (!m_disk) {
        m_disk = new CDiskStatusDlg(m_desk.DialogHost());
        m_disk->move(m_disk->parentWidget()->window()->frameGeometry().center() - m_disk->rect().center());
    }
    OnDiskInfo(m_nDiskServer);
    m_disk->show();
    m_disk->raise();
    m_disk->activateWindow();
}

void SiteWindows::OnDiskInfo(int server) {
    m_nDiskServer = server;
    const CKelvaraInfo* const info = m_recorders.GetServer(server);
    if (m_disk && info != nullptr) {
        m_disk->ShowDisk(DiskOf(*info));
    }
}

}  // namespace kvmon
