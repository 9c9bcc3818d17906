#include "web/host/web_access.h"

#include <QtCore/QRandomGenerator>
#include <algorithm>
#include <cctype>

#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxHeaders = 64;

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

std::string_view Trim(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    return begin == std::string_view::npos ? std::string_view() : TrimRight(text.substr(begin), " \t");
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string Unescape(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? HexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? HexDigit(text[i + 2]) : -1;
        if (low >= 0) {
            plain += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            plain += text[i] == '+' ? ' ' : text[i];
        }
    }
    return plain;
}

std::string_view TakeUntil(std::string_view& rest, std::string_view end) {
    const std::size_t at = rest.find(end);
    const std::string_view part = rest.substr(0, at);
    rest.remove_prefix(at == std::string_view::npos ? rest.size() : at + end.size());
    return part;
}

bool ParseTarget(std::string_view target, HttpRequest& request) {
    if (!target.starts_with('/')) {
        return false;
    }
    request.path = TakeUntil(target, "?");
    while (!target.empty()) {
        std::string_view pair = TakeUntil(target, "&");
        const std::string name = Unescape(TakeUntil(pair, "="));
        request.query[name] = Unescape(pair);
    }
    return true;
}

// Takes the same time wherever the first difference is.
bool IsSame(std::string_view a, std::string_view b) {
    unsigned difference = a.size() == b.size() ? 0 : 1;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        difference |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]);
    }
    return difference == 0;
}

std::string OriginOfUrl(std::string_view url) {
    const std::size_t scheme = url.find("://");
    if (scheme == std::string_view::npos) {
        return {};
    }
    return std::string(url.substr(0, url.find('/', scheme + 3)));
}

std::string Bracketed(const std::string& address) {
    return address.find(':') != std::string::npos ? "[" + address + "]" : address;
}

}  // namespace

const std::string& HttpRequest::Header(const std::string& name) const {
    static const std::string none;
    const auto header = headers.find(name);
    return header != headers.end() ? header->second : none;
}

std::optional<HttpRequest> ParseHttpRequest(std::string_view head) {
    if (head.size() > kMaxRequestHead || head.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    HttpRequest request;
    std::string_view line = TakeUntil(head, "\r\n");
    request.method = TakeUntil(line, " ");
    const std::string_view target = TakeUntil(line, " ");
    if (!line.starts_with("HTTP/1.") || !ParseTarget(target, request)) {
        return std::nullopt;
    }
    while (!head.empty()) {
        std::string_view header = TakeUntil(head, "\r\n");
        const std::string name = Lower(TakeUntil(header, ":"));
        const bool bWrongName = name.empty() || name.find_first_of(" \t") != std::string::npos;
        if (bWrongName || request.headers.size() >= kMaxHeaders ||
            !request.headers.emplace(name, Trim(header)).second) {
            return std::nullopt;
        }
    }
    return request;
}

WebAccess::WebAccess(std::string address, std::uint16_t port, const std::vector<std::string>& origins,
                     std::string token)
    : m_address(std::move(address)),
      m_port(port),
      m_token(std::move(token)),
      m_ownOrigin("http://" + Bracketed(m_address) + ":" + std::to_string(port)),
      m_bLoopback(m_address.starts_with("127.") || m_address == "::1") {
    m_origins.reserve(origins.size());
    for (const std::string& origin : origins) {
        m_origins.push_back(Lower(TrimRight(origin, "/")));
    }
}

bool WebAccess::IsHostKnown(const HttpRequest& request) const {
    const std::string host = Lower(request.Header("host"));
    const std::string port = ":" + std::to_string(m_port);
    if (host == Bracketed(m_address) + port || (m_bLoopback && host == "localhost" + port)) {
        return true;
    }
    if (m_port == 80 && (host == Bracketed(m_address) || (m_bLoopback && host == "localhost"))) {
        return true;
    }
    const bool bAny = m_address == "0.0.0.0" || m_address == "::";
    // Listening everywhere it has as many names as the machine; a bare address cannot be anybody's name.
    return bAny && host.find_first_not_of("0123456789.:[]abcdef") == std::string::npos && !host.empty() &&
           (std::isdigit(static_cast<unsigned char>(host[0])) != 0 || host[0] == '[');
}

bool WebAccess::IsOriginAllowed(const HttpRequest& request) const {
    const bool bHasOrigin = request.headers.contains("origin");
    const std::string origin =
        Lower(bHasOrigin ? request.Header("origin") : OriginOfUrl(request.Header("referer")));
    if (std::find(m_origins.begin(), m_origins.end(), origin) != m_origins.end()) {
        return true;
    }
    if (!origin.empty()) {
        // Its own page, by the name under which it was asked for: IsHostKnown has judged that.
        return origin == "http://" + Lower(request.Header("host"));
    }
    const std::string& site = request.Header("sec-fetch-site");
    return site.empty() || site == "same-origin" || site == "none";
}

bool WebAccess::IsTokenRight(const HttpRequest& request) const {
    const auto token = request.query.find("token");
    return token != request.query.end() && IsSame(token->second, m_token);
}

bool WebAccess::MayHavePage(const HttpRequest& request) const {
    return IsHostKnown(request) && IsOriginAllowed(request) && (m_bLoopback || IsTokenRight(request));
}

bool WebAccess::MayHaveScript(const HttpRequest& request) const {
    return IsHostKnown(request) && IsOriginAllowed(request);
}

bool WebAccess::MayHaveSession(const HttpRequest& request) const {
    return IsHostKnown(request) && IsOriginAllowed(request) && IsTokenRight(request);
}

std::string MakeToken() {
    std::string token;
    for (int i = 0; i < 4; ++i) {
        token += FormatText("%08x", QRandomGenerator::system()->generate());
    }
    return token;
}

}  // namespace kvmon
