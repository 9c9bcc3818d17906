// One resource of a web server, fetched into memory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/worker.h"

namespace kvmon {

// Who makes the exchange: the platform's HTTP client, or a bare socket with HTTP/1.0, as the recorders know
// it (a reply of version 1.1 fails there).
enum class FetchTransport { Platform, Socket };

// Blocking, for a thread of the caller's: at most two minutes, and ends within about a second of the
// abort flag (may be null). HTTP only. An empty content type means "text/*"; without a user no
// credentials are sent. True if the status was 200 and all came; the cause of a failure goes to the trace at
// most.
bool GetResourceFromURL(std::vector<std::uint8_t>* pData, const std::string& url,
                        const std::string& contentType, const std::string& user, const std::string& password,
                        FetchTransport transport, const FlagWord* pAbortFlag = nullptr);

}  // namespace kvmon
