#include "channel/command_exchange.h"

#include <array>

namespace kvmon {

namespace {

constexpr std::uint32_t kStepTimeout = 3000;
constexpr std::size_t kLineSize = 3096;

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

std::string CommandExchange::ReadSome(std::size_t size, std::uint32_t dwTimeout) {
    std::string body(size, '\0');
    body.resize(m_tran.Receive(body.data(), size, &dwTimeout));
    return body;
}

}  // namespace kvmon
