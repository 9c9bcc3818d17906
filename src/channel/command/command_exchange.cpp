#include "channel/command/command_exchange.h"

#include <array>

#include "persist/utilities.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStepTimeout = 3000;
constexpr std::size_t kLineSize = 3096;

// The length of the lines behind the status line, the blank one included; npos while that has not come.
std::size_t HeadLength(std::string_view reply) {
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = reply.find('\n', begin);
        if (end == std::string_view::npos) {
            return end;
        }
        const std::string_view line = reply.substr(begin, end - begin);
        begin = end + 1;
        if (line.empty() || line == "\r") {
            return begin;
        }
    }
}

// The head announces a body of no length: the peer may leave the connection open.
bool SaysNoBody(std::string_view head) {
    constexpr std::string_view kKey = "content-length:";
    const std::size_t at = stristr(head, kKey);
    if (at == std::string_view::npos) {
        return false;
    }
    const std::string_view line = head.substr(at + kKey.size(), head.find('\n', at) - at - kKey.size());
    return line.find('0') != std::string_view::npos &&
           line.find_first_of("123456789") == std::string_view::npos;
}

}  // namespace

std::optional<ExchangeStep> CommandExchange::Start(const TargetSettings& settings, const std::string& request,
                                                   std::uint32_t dwStatusTimeout) {
    if (!m_tran.Create()) {
        return ExchangeStep::Create;
    }
    std::uint32_t dwTimeout = kStepTimeout;
    if (!m_tran.Connect(settings.szAddress.c_str(), settings.nPort, &dwTimeout)) {
        return ExchangeStep::Connect;
    }
    dwTimeout = kStepTimeout;
    if (!m_tran.Send(request, &dwTimeout)) {
        return ExchangeStep::Send;
    }
    std::array<char, kLineSize> line;
    std::size_t length = line.size();
    dwTimeout = dwStatusTimeout;
    if (!m_tran.ReadLine(line.data(), &length, &dwTimeout)) {
        return ExchangeStep::StatusLine;
    }
    HTTP_RESULT result;
    CHttpTran::ParseHttpHeader({line.data(), length}, &result);
    m_nStatus = result.nStatus;
    return std::nullopt;
}

std::optional<std::string> CommandExchange::ReadLine() {
    std::array<char, kLineSize> line;
    std::size_t length = line.size();
    std::uint32_t dwTimeout = kStepTimeout;
    if (!m_tran.ReadLine(line.data(), &length, &dwTimeout)) {
        return std::nullopt;
    }
    return std::string(line.data(), length);
}

bool CommandExchange::SkipHead() {
    // A head without an end is no head.
    constexpr int kMaxLines = 100;
    for (int i = 0; i < kMaxLines; ++i) {
        const auto line = ReadLine();
        if (!line) {
            return false;
        }
        if (line->front() == '\r' || line->front() == '\n') {
            return true;
        }
    }
    return false;
}

std::string CommandExchange::ReadBody(std::size_t size, std::uint32_t dwTimeout) {
    std::string body(size, '\0');
    body.resize(m_tran.ReadBlock(body.data(), size, &dwTimeout));
    return body;
}

bool CommandExchange::HasBody(std::size_t size, std::uint32_t dwTimeout) {
    std::string reply(size, '\0');
    std::size_t length = 0;
    for (;;) {
        const std::string_view seen(reply.data(), length);
        const std::size_t end = HeadLength(seen);
        if (end < length) {
            return true;
        }
        if (end == length && SaysNoBody(seen)) {
            return false;
        }
        const std::size_t got = m_tran.Receive(reply.data() + length, size - length, &dwTimeout);
        if (got == 0) {
            return end == std::string_view::npos && length > 0;
        }
        length += got;
    }
}

}  // namespace kvmon
