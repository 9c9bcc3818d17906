// The head of a request, collected from the wire under limits.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "media/secret.h"

namespace kvrecorder {

// Below it stands what takes other requests than GET, and bodies.
inline constexpr std::string_view kApiFolder = "/api/";

struct HttpRequest {
    std::string method;
    std::string path;  // without the query
    std::map<std::string, std::string, std::less<>> query;
    bool hasAuthorization = false;
    std::string user;
    Secret password;
    std::string contentType;
    std::string contentLength;  // as it came; empty: not told

    bool ForApi() const { return path.starts_with(kApiFolder); }
    // A decimal number of the query; nothing if it is missing, no number or out of range.
    std::optional<int> Number(std::string_view name, int low, int high) const;
    std::string_view Text(std::string_view name) const;
};

class RequestHead {
public:
    RequestHead() = default;
    ~RequestHead() { Wipe(m_text); }
    RequestHead(const RequestHead&) = delete;
    RequestHead& operator=(const RequestHead&) = delete;

    static constexpr std::size_t kMaxBytes = 8192;
    static constexpr std::size_t kMaxLines = 64;

    enum class State { Incomplete, Complete, Bad };

    // Takes what came from the peer.
    State Feed(std::string_view bytes);
    // What came after a complete head; the limit of the head holds for both together.
    std::string_view Behind() const { return std::string_view(m_text).substr(m_scanned); }
    // The bytes of a complete head.
    std::size_t Size() const { return m_scanned; }
    // Of a complete head; nothing if it is no request that can be served.
    std::optional<HttpRequest> Parse() const;

private:
    std::string m_text;
    std::size_t m_scanned = 0;  // everything before is whole lines
    std::size_t m_lineCount = 0;
    State m_state = State::Incomplete;
};

}  // namespace kvrecorder
