#include "answers/http_request.h"

#include <algorithm>
#include <array>

#include "media/base64.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMaxParameters = 32;
constexpr std::array<std::string_view, 3> kApiMethods = {"POST", "PATCH", "DELETE"};

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

// What stands before the separator; it and the separator are taken from the text.
std::string_view TakeUntil(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view taken = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    return taken;
}

std::string_view TakeLine(std::string_view& text) {
    std::string_view line = TakeUntil(text, '\n');
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

int HexValue(char c) {
    const std::string_view digits = "0123456789abcdef";
    const std::size_t at = digits.find(c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

// A percent sign without two digits stands for itself: clients send user names as they are.
std::string PercentDecode(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
        const int low = high >= 0 ? HexValue(text[i + 2]) : -1;
        if (low < 0) {
            out.push_back(text[i]);
            continue;
        }
        out.push_back(static_cast<char>(high * 16 + low));
        i += 2;
    }
    return out;
}

void ParseQuery(std::string_view query, HttpRequest& request) {
    while (!query.empty() && request.query.size() < kMaxParameters) {
        std::string_view value = TakeUntil(query, '&');
        const std::string_view name = TakeUntil(value, '=');
        request.query.emplace(std::string(name), PercentDecode(value));
    }
}

// The target may hold blanks, since a client puts its user name there unescaped: it is what stands between
// the first and the last blank.
bool ParseRequestLine(std::string_view line, HttpRequest& request) {
    const std::size_t first = line.find(' ');
    const std::size_t last = line.rfind(' ');
    if (first == std::string_view::npos || last <= first || !line.substr(last + 1).starts_with("HTTP/1.")) {
        return false;
    }
    std::string_view target = Trim(line.substr(first, last - first));
    if (target.empty() || target[0] != '/') {
        return false;
    }
    request.method = line.substr(0, first);
    request.path = TakeUntil(target, '?');
    const bool known = std::find(kApiMethods.begin(), kApiMethods.end(), request.method) != kApiMethods.end();
    if (request.method != "GET" && !(request.ForApi() && known)) {
        return false;
    }
    ParseQuery(target, request);
    return true;
}

void ParseAuthorization(std::string_view value, HttpRequest& request) {
    value = Trim(value);
    const std::string_view scheme = value.substr(0, 6);
    if (!EqualIgnoringCase(scheme, "Basic ")) {
        return;
    }
    auto plain = Base64Decode(value.substr(6));
    const std::size_t colon = plain ? plain->find(':') : std::string::npos;
    if (colon == std::string::npos) {
        return;
    }
    request.hasAuthorization = true;
    request.user = plain->substr(0, colon);
    request.password = std::string_view(*plain).substr(colon + 1);
    Wipe(*plain);
}

}  // namespace

std::optional<int> HttpRequest::Number(std::string_view name, int low, int high) const {
    return ParseNumber<int>(Text(name), low, high);
}

std::string_view HttpRequest::Text(std::string_view name) const {
    const auto found = query.find(name);
    return found == query.end() ? std::string_view() : std::string_view(found->second);
}

RequestHead::State RequestHead::Feed(std::string_view bytes) {
    if (m_state != State::Incomplete) {
        return m_state;
    }
    AppendSecret(m_text, bytes.substr(0, std::min(bytes.size(), kMaxBytes + 1 - m_text.size())));
    for (std::size_t end = m_text.find('\n', m_scanned); end != std::string::npos;
         end = m_text.find('\n', m_scanned)) {
        const std::string_view line = std::string_view(m_text).substr(m_scanned, end - m_scanned);
        m_scanned = end + 1;
        if (line.empty() || line == "\r") {
            // A blank line before any other is no head.
            return m_state = m_lineCount > 0 ? State::Complete : State::Bad;
        }
        if (++m_lineCount > kMaxLines) {
            return m_state = State::Bad;
        }
    }
    return m_state = m_text.size() > kMaxBytes ? State::Bad : State::Incomplete;
}

std::optional<HttpRequest> RequestHead::Parse() const {
    if (m_state != State::Complete || m_text.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    HttpRequest request;
    std::string_view rest = std::string_view(m_text).substr(0, m_scanned);
    if (!ParseRequestLine(TakeLine(rest), request)) {
        return std::nullopt;
    }
    std::string authorization;
    bool inAuthorization = false;
    while (!rest.empty()) {
        const std::string_view line = TakeLine(rest);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) {
            // Clients break long credentials after 76 characters with a bare line feed.
            if (inAuthorization) {
                AppendSecret(authorization, line);
            }
            continue;
        }
        const std::string_view name = Trim(line.substr(0, colon));
        const std::string_view value = Trim(line.substr(colon + 1));
        if (EqualIgnoringCase(name, "Content-Type")) {
            request.contentType = Trim(value.substr(0, value.find(';')));
        } else if (EqualIgnoringCase(name, "Content-Length")) {
            request.contentLength = value;
        }
        inAuthorization = EqualIgnoringCase(name, "Authorization");
        if (inAuthorization) {
            Wipe(authorization);
            AppendSecret(authorization, line.substr(colon + 1));
        }
    }
    ParseAuthorization(authorization, request);
    Wipe(authorization);
    return request;
}

}  // namespace kvrecorder
