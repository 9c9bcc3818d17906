#include "server/http/link_failure.h"

#include "platform/socket.h"

namespace kvmon {

LinkFault FaultOf(OwnFault fault) {
    switch (fault) {
        case OwnFault::NoMemory:
            return LinkFault::NoMemory;
        case OwnFault::NoThread:
            return LinkFault::NoThread;
        case OwnFault::Program:
            break;
    }
    return LinkFault::Program;
}

LinkFault FaultOfConnect(std::uint32_t socketError) {
    constexpr std::uint32_t kRefused = 10061;
    switch (socketError) {
        case kRefused:
            return LinkFault::NoRecorder;
        case kSocketInvalidArgument:  // the name has no address
            return LinkFault::NoHost;
        case kSocketAborted:  // the wait ran out
        case kSocketTimedOut:
            return LinkFault::TimedOut;
        default:
            return LinkFault::NoRoute;
    }
}

}  // namespace kvmon
