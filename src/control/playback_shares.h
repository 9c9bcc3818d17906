// The shares that a page has connected for its playback.
#pragma once

#include <string>

#include "platform/clock.h"

namespace kvmon {

class SharePort;

class PlaybackShares {
public:
    // Beyond these a list is no page's: the whole of it, or what follows, fails.
    static constexpr std::size_t kMaxListBytes = 64 * 1024;
    static constexpr int kMaxShares = 1024;
    // For all of a list: shares whose turn has not come by then fail.
    static constexpr std::uint64_t kWalkMs = 30000;

    explicit PlaybackShares(Clock& clock = SystemClock()) : m_clock(clock) {}
    ~PlaybackShares();

    // The port must outlive this object. Without one no share can be connected.
    void SetPort(SharePort* port) { m_port = port; }
    // `shares` are joined by "+". 0, or -1 when the credential is none or a share failed; the others are
    // connected all the same. The list replaces the one before it. The port may handle events: a second call
    // that comes meanwhile gives -1.
    int Prepare(const std::string& authText, const std::string& shares);
    // Disconnects the shares of the last list, and ends a Prepare that is under way. A second call does
    // nothing.
    void Unprepare();

private:
    // False when a share is not connected.
    bool Walk(const std::string& user, const std::string& password, std::string list);
    int Connect(const std::string& user, const std::string& password, const std::string& share,
                std::uint64_t begin);

    Clock& m_clock;
    SharePort* m_port = nullptr;
    std::string m_strFolderList;
    bool m_bPreparing = false;
    bool m_bDropped = false;  // Unprepare came while it was
};

}  // namespace kvmon
