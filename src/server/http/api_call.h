// One request to the interface that a recorder may have beside its documents.
#pragma once

#include <cstdint>
#include <string>

#include "platform/worker.h"

namespace kvmon {

struct ApiTarget {
    std::string host;
    std::uint32_t port = 80;
    std::string user;
    std::string password;
};

struct ApiReply {
    int status = 0;  // 0: there was no answer, or not a whole one
    std::string body;
};

// Blocking, for a thread of the caller's: at most half a minute, and ends within about a second of the abort
// flag. A body is JSON; an empty one of a POST goes as an empty object.
ApiReply CallRecorderApi(const ApiTarget& target, const std::string& method, const std::string& path,
                         const std::string& body, const FlagWord& abortFlag);

}  // namespace kvmon
