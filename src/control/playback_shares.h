// The shares that a page has connected for its playback.
#pragma once

#include <string>

namespace kvmon {

class SharePort;

class PlaybackShares {
public:
    ~PlaybackShares();

    // The port must outlive this object. Without one no share can be connected.
    void SetPort(SharePort* port) { m_port = port; }
    // `shares` are joined by "+". 0, or -1 when the credential is none or a share failed; the others are
    // connected all the same. The list replaces the one before it.
    int Prepare(const std::string& authText, const std::string& shares);
    // Disconnects the shares of the last list. A second call does nothing.
    void Unprepare();

private:
    SharePort* m_port = nullptr;
    std::string m_strFolderList;
};

}  // namespace kvmon
