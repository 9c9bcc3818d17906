// Who may have what of the web host: the rules, without a socket.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

// The head of a request. Names are in lower case; of a header that comes twice the second is refused.
struct HttpRequest {
    std::string method;
    std::string path;                          // decoded by nobody: the paths served hold no escapes
    std::map<std::string, std::string> query;  // decoded
    std::map<std::string, std::string> headers;

    // Empty without one.
    const std::string& Header(const std::string& name) const;
};

inline constexpr std::size_t kMaxRequestHead = 8 * 1024;
// `head` goes to the blank line, without it. Nothing for what is no request.
std::optional<HttpRequest> ParseHttpRequest(std::string_view head);

class WebAccess {
public:
    // The address and port that the host listens on, the origins of pages elsewhere, the session token.
    WebAccess(std::string address, std::uint16_t port, const std::vector<std::string>& origins,
              std::string token);

    const std::string& Token() const { return m_token; }
    // "http://ADDRESS:PORT"
    const std::string& OwnOrigin() const { return m_ownOrigin; }

    // The request names this host itself: a name that someone else's server has turned to this address gets
    // nothing.
    bool IsHostKnown(const HttpRequest& request) const;
    // The page that asks is one of ours or an allowed one. A request without any word of a page (no browser
    // sends a WebSocket's without) is left to the token.
    bool IsOriginAllowed(const HttpRequest& request) const;
    bool IsTokenRight(const HttpRequest& request) const;
    // The sample page carries the token: on loopback it goes to this machine's own user; elsewhere only to
    // who has the token already.
    bool MayHavePage(const HttpRequest& request) const;
    bool MayHaveScript(const HttpRequest& request) const;
    bool MayHaveSession(const HttpRequest& request) const;

private:
    std::string m_address;
    std::uint16_t m_port;
    std::vector<std::string> m_origins;
    std::string m_token;
    std::string m_ownOrigin;
    bool m_bLoopback;
};

// 32 random hexadecimal digits.
std::string MakeToken();

}  // namespace kvmon
