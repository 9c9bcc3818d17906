#include "cameras/connect_fault.h"

#include <cerrno>

#include "cameras/camera_words.h"

namespace kvrecorder {

std::optional<FaultCode> ConnectFault(CURL* easy, CURLcode error) {
    long system = 0;
    curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &system);
    switch (error) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return words::kUnknownHost;
        case CURLE_COULDNT_CONNECT:
            return system == EHOSTUNREACH || system == ENETUNREACH ? words::kNoWay : words::kNothingListens;
        case CURLE_OPERATION_TIMEDOUT:
            return words::kNoAnswer;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
            return words::kNotEncrypted;
        default:
            return std::nullopt;
    }
}

}  // namespace kvrecorder
