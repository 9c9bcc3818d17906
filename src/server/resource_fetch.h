// One resource of a web server, fetched into memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/worker.h"

namespace kvmon {

// What a longer resource is told to be fails.
inline constexpr std::size_t kMaxResourceBytes = 32u << 20;

// Blocking, for a thread of the caller's: at most two minutes, and ends within about a second of the
// abort flag (may be null). HTTP only. An empty content type means "text/*"; without a user no
// credentials are sent. With bUseSocket the exchange is a bare HTTP/1.0 one that the recorders know (a
// reply of version 1.1 fails there), else the platform's HTTP client makes it. True if the status was
// 200 and all came; the cause of a failure goes to the trace at most.
bool GetResourceFromURL(std::vector<std::uint8_t>* pData, const std::string& url,
                        const std::string& contentType, const std::string& user, const std::string& password,
                        bool bUseSocket, const FlagWord* pAbortFlag = nullptr);

// What the socket transport reads in a reply's head.
struct ResourceHead {
    int nStatus = 0;
    std::uint64_t nContentLength = 0;
};
// `head` ends before its blank line.
ResourceHead ParseResourceHead(std::string_view head);

namespace detail {

struct SplitUrl {
    std::string server;
    std::uint32_t port = 80;
    std::string object;
};
// False for anything but an HTTP address.
bool SplitHttpUrl(const std::string& url, SplitUrl* pSplit);

bool FetchBySocket(std::vector<std::uint8_t>& data, const SplitUrl& url, const std::string& contentType,
                   const std::string& user, const std::string& password, const FlagWord* abortFlag);
bool FetchByPlatform(std::vector<std::uint8_t>& data, const std::string& url, const std::string& contentType,
                     const std::string& user, const std::string& password, const FlagWord* abortFlag);

}  // namespace detail

}  // namespace kvmon
