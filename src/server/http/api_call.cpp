#include "server/http/api_call.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "persist/log_file.h"
#include "persist/utilities.h"
#include "platform/clock.h"
#include "platform/text.h"
#include "server/documents/server_documents.h"
#include "server/documents/wire_number.h"
#include "server/http/http_tran.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kApiConnectMs = 5000;
constexpr std::uint32_t kApiStallMs = 30000;
constexpr std::uint64_t kApiMs = 30000;
constexpr std::size_t kMostApiHead = 65536;
constexpr std::size_t kMostApiBody = 4 * 1024 * 1024;

// One request and its reply. What fails stands in the trace.
class ApiExchange {
public:
    explicit ApiExchange(const FlagWord& abortFlag) : m_tran(&abortFlag) {}

    bool Send(const ApiTarget& target, std::string_view request) {
        std::uint32_t connect = kApiConnectMs;
        std::uint32_t send = kApiStallMs;
        return m_tran.Create() && m_tran.Connect(target.host.c_str(), target.port, &connect) &&
               m_tran.Send(request, &send);
    }
    bool ReadHead(int& nStatus) {
        HTTP_RESULT result;
        if (!ReadLine() || !CHttpTran::ParseHttpHeader(Line(), &result)) {
            return false;
        }
        nStatus = result.nStatus;
        while (m_nHead <= kMostApiHead && ReadLine()) {
            if (IsBlankLine(Line())) {
                return true;
            }
            TakeHeader();
        }
        return false;
    }
    // As long as the head says, else to the peer's end. False if it is too long or not whole.
    bool ReadBody(std::string& body) {
        const std::size_t most = m_nLength.value_or(kMostApiBody + 1);
        std::array<char, 16384> part;
        while (body.size() < std::min(most, kMostApiBody + 1) && !IsLate()) {
            std::uint32_t stall = kApiStallMs;
            const std::size_t got =
                m_tran.Receive(part.data(), std::min(part.size(), most - body.size()), &stall);
            if (got == 0) {
                break;
            }
            body.append(part.data(), got);
        }
        return body.size() <= kMostApiBody && body.size() == m_nLength.value_or(body.size());
    }

private:
    bool ReadLine() {
        std::uint32_t stall = kApiStallMs;
        m_nLine = m_line.size();
        if (IsLate() || !m_tran.ReadLine(m_line.data(), &m_nLine, &stall)) {
            m_nLine = 0;
        }
        m_nHead += m_nLine;
        return m_nLine > 0;
    }
    std::string_view Line() const { return {m_line.data(), m_nLine}; }
    void TakeHeader() {
        constexpr std::string_view kLength = "Content-Length:";
        if (Line().size() > kLength.size() &&
            ::strncasecmp(m_line.data(), kLength.data(), kLength.size()) == 0) {
            std::string_view number = Line().substr(kLength.size());
            number.remove_prefix(std::min(number.find_first_not_of(" \t"), number.size()));
            m_nLength = static_cast<std::size_t>(std::max<std::int64_t>(WireInt64(number), 0));
        }
    }
    bool IsLate() const { return SystemClock().TickMs() - m_began > kApiMs; }

    const std::uint64_t m_began = SystemClock().TickMs();
    CHttpTran m_tran;
    std::array<char, 1024> m_line;
    std::size_t m_nLine = 0;
    std::size_t m_nHead = 0;
    std::optional<std::size_t> m_nLength;  // of the body
};

}  // namespace

ApiReply CallRecorderApi(const ApiTarget& target, const std::string& method, const std::string& path,
                         const std::string& body, const FlagWord& abortFlag) {
    const std::string sent = method == "GET" ? std::string() : body.empty() ? "{}" : body;
    std::string request = FormatText("%s %s HTTP/1.0\r\nHost: %s:%u\r\nAuthorization: Basic ", method.c_str(),
                                     path.c_str(), target.host.c_str(), target.port);
    request.reserve(2048 + sent.size());  // no copy of the login is left behind
    const WipeAtEnd wipe(request);
    std::string login = target.user + ":" + target.password;
    const WipeAtEnd wipeLogin(login);
    std::string encoded = EncodeBasicAuth(login);
    const WipeAtEnd wipeEncoded(encoded);
    std::erase(encoded, '\n');
    request += encoded;
    request += FormatText("\r\nContent-Type: application/json\r\nContent-Length: %zu\r\n\r\n", sent.size());
    request += sent;
    ApiExchange exchange(abortFlag);
    ApiReply reply;
    if (!exchange.Send(target, request) || !exchange.ReadHead(reply.status) ||
        !exchange.ReadBody(reply.body)) {
        Trace("%s %s: no answer, or not a whole one\n", method.c_str(), path.c_str());
        return {};
    }
    return reply;
}

}  // namespace kvmon
