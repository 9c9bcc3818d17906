#include "cameras/connect_fault.h"

#include <cerrno>

namespace kvrecorder {

std::optional<FaultCode> ConnectFault(CURL* easy, CURLcode error) {
    long system = 0;
    curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &system);
    switch (error) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return FaultCode::HostUnknown;
        case CURLE_COULDNT_CONNECT:
            return system == EHOSTUNREACH || system == ENETUNREACH ? FaultCode::NoWay
                                                                   : FaultCode::NothingListens;
        case CURLE_OPERATION_TIMEDOUT:
            return FaultCode::NoAnswer;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
            return FaultCode::NotEncrypted;
        default:
            return std::nullopt;
    }
}

}  // namespace kvrecorder
