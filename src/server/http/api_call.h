// One request to the interface that a recorder may have beside its documents.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/secret_memory.h"
#include "platform/worker.h"

namespace kvmon {

// Its password is wiped with it.
struct ApiTarget {
    ApiTarget(std::string itsHost, std::uint32_t itsPort, std::string itsUser, std::string itsPassword)
        : host(std::move(itsHost)),
          port(itsPort),
          user(std::move(itsUser)),
          password(std::move(itsPassword)) {}
    ApiTarget(const ApiTarget&) = default;
    ApiTarget(ApiTarget&&) = default;
    ApiTarget& operator=(const ApiTarget&) = default;
    ApiTarget& operator=(ApiTarget&&) = default;
    ~ApiTarget() { Wipe(password); }

    std::string host;
    std::uint32_t port;
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
