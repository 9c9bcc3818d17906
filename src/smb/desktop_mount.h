// A share as a folder of this machine, by the desktop's own service for network folders.
#pragma once

#include <cstdint>
#include <string>

#include "shares/share_request.h"

namespace kvmon {

// Asks the service by its command line program, which is there on the desktops that have the service. Its
// calls wait, so that it belongs in a process of its own.
class DesktopMount {
public:
    static constexpr int kMountMs = 8000;
    static constexpr int kUnmountMs = 2000;

    ~DesktopMount();

    // The folder's path; empty where the machine has no such service, or it does not take the credential.
    // Port 0 is that of the protocol. To be called once.
    std::string Mount(const ShareRequest& request, std::uint16_t port);
    // What was mounted by this program and is held by no other process of it. A mount of the desktop's user
    // stays.
    void Unmount();

private:
    bool HoldLock();
    bool MarkAsOurs();
    bool IsOurs() const;

    std::string m_root;  // the address of the share, with its user
    int m_lock = -1;     // shared by all processes that hold the mount
};

}  // namespace kvmon
