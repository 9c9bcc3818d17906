// The transport over a bare socket, with an exchange of version 1.0 that the recorders know.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/socket.h"
#include "platform/worker.h"
#include "server/http/resource_url.h"

namespace kvmon {

// What is read in a reply's head.
struct ResourceHead {
    int nStatus = 0;
    std::uint64_t nContentLength = 0;
};
// `head` ends before its blank line.
ResourceHead ParseResourceHead(std::string_view head);

bool FetchBySocket(Socket& socket, std::vector<std::uint8_t>& data, const SplitUrl& url,
                   const std::string& contentType, const std::string& user, const std::string& password,
                   const FlagWord* abortFlag);

}  // namespace kvmon
