// One request of the command thread on a connection of its own. Inside this folder and its tests only.
#pragma once

#include <optional>
#include <string>

#include "channel/source/target_settings.h"
#include "platform/clock.h"
#include "server/http/http_tran.h"

namespace kvmon {

// The steps in which an exchange may fail.
enum class ExchangeStep { Create, Connect, Send, StatusLine };

// The result of a command whose exchange failed at this step.
template <typename Result>
Result ResultOf(ExchangeStep step) {
    switch (step) {
        case ExchangeStep::Create:
            return Result::CreateFailed;
        case ExchangeStep::Connect:
            return Result::ConnectFailed;
        case ExchangeStep::Send:
            return Result::SendFailed;
        case ExchangeStep::StatusLine:
            break;
    }
    return Result::ReadFailed;
}

// Command thread only.
class CommandExchange {
public:
    CommandExchange(Clock& clock, const FlagWord& bAbort,
                    std::unique_ptr<Socket> socket = SystemSocket::Make())
        : m_tran(&bAbort, clock, std::move(socket)) {}

    // Connects, sends and reads the status line; gives the step that failed. Connecting and sending get
    // 3000 ms each.
    std::optional<ExchangeStep> Start(const TargetSettings& settings, const std::string& request,
                                      std::uint32_t dwStatusTimeout = 3000);
    int GetStatus() const { return m_nStatus; }
    // True when the blank line behind the head was read.
    bool SkipHead();
    std::optional<std::string> ReadLine();
    // Up to `size` bytes of what follows, to the peer's end or a stall of `dwTimeout`.
    std::string ReadBody(std::size_t size, std::uint32_t dwTimeout);
    // True as soon as a byte of the reply's body is there. Looks at `size` bytes behind the status line at
    // most; what comes without a blank line is a body too.
    bool HasBody(std::size_t size, std::uint32_t dwTimeout);

private:
    CHttpTran m_tran;
    int m_nStatus = 0;
};

}  // namespace kvmon
