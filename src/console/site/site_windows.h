// Windows about the recorder itself: its map and its disk.
#pragma once

#include <QtCore/QPointer>
#include <string>

namespace kvmon {

class CDiskStatusDlg;
class CEMapDlg;
class ClientSite;
class Desk;
class RecorderList;

// Commands of the console's menu, each also the number of its text.
inline constexpr int kCmdEvents = 6600;
inline constexpr int kCmdEMap = 6601;
inline constexpr int kCmdDiskStatus = 6602;

// User interface thread only.
class SiteWindows {
public:
    SiteWindows(Desk& desk, ClientSite& site, const RecorderList& recorders)
        : m_desk(desk), m_site(site), m_recorders(recorders) {}
    ~SiteWindows();

    // The first recorder's map, for this user. One window at a time.
    void OpenEMap(const std::string& user, const std::string& password);
    // For the user who is logged in.
    void OpenEMap();
    void OpenDiskStatus();
    // The session is over: what is open goes, and asks for nothing more.
    void Close();
    // The disk of the recorder on show has changed.
    void OnDiskInfo(int server);

    // Null when they are not open.
    CEMapDlg* EMap() const;
    CDiskStatusDlg* DiskStatus() const;

private:
    Desk& m_desk;
    ClientSite& m_site;
    const RecorderList& m_recorders;
    int m_nDiskServer = 0;
    QPointer<CEMapDlg> m_emap;
    QPointer<CDiskStatusDlg> m_disk;
};

}  // namespace kvmon
