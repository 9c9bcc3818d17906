// One connection to a share by the SMB library.
#pragma once

#include <cstdint>

#include "shares/share_request.h"

namespace kvmon {

// Connects and logs in, looks whether the folder is there, and leaves the connection open to the end of the
// process. One of the results of share_request.h. Waits, for `timeoutMs` and more: the caller sees to that.
// Port 0 is that of the protocol. Once in a process.
int OpenSmbConnection(const ShareRequest& request, int timeoutMs, std::uint16_t port);

}  // namespace kvmon
