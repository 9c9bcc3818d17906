// Why a recorder cannot be used at present, for a user who waits for it.
#pragma once

#include <cstdint>

#include "platform/caught.h"

namespace kvmon {

enum class LinkFault : std::uint8_t {
    None,
    Credentials,   // 401
    NotFound,      // 404 below both roots
    Status,        // another answer than 200
    NotARecorder,  // an answer that is no document of a recorder's
    NoHost,        // no computer has this name
    NoRecorder,    // the computer is there, nothing listens at the port
    NoRoute,
    TimedOut,
    // The fault is this computer's, or this program's.
    NoMemory,
    NoThread,
    Program,
};

struct LinkFailure {
    LinkFault fault = LinkFault::None;
    int nStatus = 0;  // the answer's, with LinkFault::Status

    friend bool operator==(const LinkFailure&, const LinkFailure&) = default;
};

LinkFault FaultOf(OwnFault fault);
// What a connection that did not come about tells by its socket error.
LinkFault FaultOfConnect(std::uint32_t socketError);

}  // namespace kvmon
