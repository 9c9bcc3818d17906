// One connection to a share by the SMB library.
#pragma once

#include <cstdint>

#include "shares/share_request.h"

namespace kvmon {

// Connects and logs in, looks whether the folder is there, and leaves the connection open to the end of the
// process. One of the results of share_request.h. Waits for `timeoutMs` and longer; the caller has to be
// ready for that. Port 0 is that of the protocol. To be called once in a process.
int OpenSmbConnection(const ShareRequest& request, int timeoutMs, std::uint16_t port);

}  // namespace kvmon
