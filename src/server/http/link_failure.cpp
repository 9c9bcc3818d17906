#include "server/http/link_failure.h"

#include "platform/socket.h"

namespace kvmon {

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
