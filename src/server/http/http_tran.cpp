#include "server/http/http_tran.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "server/documents/wire_number.h"
#include "server/http/socket_error_text.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kRoundMs = 250;
constexpr std::uint8_t kCr = 0x0D;
constexpr std::uint8_t kLf = 0x0A;
constexpr std::uint8_t kMarker = 0xFF;
constexpr std::uint8_t kStartOfImage = 0xD8;
constexpr std::uint8_t kEndOfImage = 0xD9;

bool HasLimit(const std::uint32_t* budget) {
    return budget != nullptr && *budget != kNoTimeout;
}

void Spend(std::uint32_t* budget, std::uint64_t milliseconds) {
    *budget -= static_cast<std::uint32_t>(std::min<std::uint64_t>(*budget, milliseconds));
}

}  // namespace

CHttpTran::CHttpTran(const FlagWord* pAbortFlag, Clock& clock, std::unique_ptr<Socket> socket)
    : m_socket(std::move(socket)), m_pAbortFlag(pAbortFlag), m_clock(clock) {}

CHttpTran::~CHttpTran() {
    Close();
}

bool CHttpTran::Keep(std::uint32_t code) {
    if (code != 0) {
        m_dwLastError = code;
    }
    return code == 0;
}

bool CHttpTran::Create(SocketKind kind) {
    if (m_socket->IsOpen() || !Keep(m_socket->Open())) {
        return false;
    }
    m_bBlocking = kind == SocketKind::Blocking;
    if (!Keep(m_socket->BindAny()) || !Keep(m_socket->SetBlocking(m_bBlocking))) {
        Close();
        return false;
    }
    return true;
}

bool CHttpTran::Connect(const char* lpszHost, std::uint32_t nPort, std::uint32_t* dwTimeout) {
    if (!m_socket->IsOpen() || lpszHost == nullptr || IsAborted()) {
        return false;
    }
    std::optional<Ipv4Address> address = ParseDottedAddress(lpszHost);
    if (!address) {
        const std::uint64_t start = m_clock.TickMs();
        const auto elapsed = [&] { return m_clock.TickMs() - start; };
        address = ResolveName(lpszHost, [&] {
            return IsAborted() || m_bCancel || (HasLimit(dwTimeout) && elapsed() >= *dwTimeout) ||
                   (m_giveUp && m_giveUp(0));
        });
        if (HasLimit(dwTimeout)) {
            if (elapsed() < *dwTimeout) {
                Spend(dwTimeout, elapsed());
            } else {
                address.reset();
            }
        }
    }
    if (!address || nPort > 0xFFFF) {
        m_dwLastError = kSocketInvalidArgument;
        return false;
    }
    // The system's own wait for a host that does not answer lasts two minutes: with a budget a blocking
    // socket becomes one that waits in rounds, until it is connected.
    const bool bInRounds = m_bBlocking && HasLimit(dwTimeout);
    if (bInRounds && !Keep(m_socket->SetBlocking(false))) {
        return false;
    }
    const std::uint32_t code = m_socket->Connect(*address, static_cast<std::uint16_t>(nPort));
    bool bConnected = code == 0 && !IsAborted();
    if (code == kSocketWouldBlock) {
        // A refused connection is "ready" too: its error is then pending.
        bConnected = WaitReady(To::Write, dwTimeout) && Keep(m_socket->PendingError());
    } else {
        Keep(code);
    }
    return bConnected && (!bInRounds || Keep(m_socket->SetBlocking(true)));
}

CHttpTran::Wait CHttpTran::WaitSocket(To to, std::uint32_t* dwTimeout) {
    if (!m_socket->IsOpen()) {
        return Wait::Ended;
    }
    struct Waiter {
        explicit Waiter(std::atomic<int>& count) : m_count(count) { ++m_count; }
        ~Waiter() { --m_count; }
        std::atomic<int>& m_count;
    } const waiter(m_nWaiters);

    const Milliseconds round = m_clock.SocketRound(Milliseconds(kRoundMs));
    std::uint64_t nElapsed = 0;
    while (!m_bCancel && !IsAborted()) {
        if (m_giveUp && m_giveUp(std::exchange(m_nIdleMs, 0))) {
            m_dwLastError = kSocketAborted;
            return Wait::TimedOut;
        }
        nElapsed += kRoundMs;
        std::uint32_t error = 0;
        switch (m_socket->Poll(to == To::Write, static_cast<int>(round.count()), error)) {
            case Socket::Ready::Error:
                m_dwLastError = error;
                return Wait::Error;
            case Socket::Ready::No:
                m_nIdleMs += kRoundMs;
                if (HasLimit(dwTimeout) && nElapsed >= *dwTimeout) {
                    m_dwLastError = kSocketAborted;
                    return Wait::TimedOut;
                }
                break;
            case Socket::Ready::Yes:
                if (HasLimit(dwTimeout)) {
                    Spend(dwTimeout, nElapsed);
                }
                return Wait::Ready;
        }
    }
    return Wait::Ended;
}

bool CHttpTran::Send(const void* pData, std::size_t nLength, std::uint32_t* dwTimeout) {
    if (!m_socket->IsOpen() || pData == nullptr || nLength < 1) {
        return false;
    }
    const auto* rest = static_cast<const std::uint8_t*>(pData);
    bool sendFailed = false;
    while (!IsAborted() && nLength > 0 && !sendFailed && WaitReady(To::Write, dwTimeout)) {
        std::uint32_t error = 0;
        if (const auto sent = m_socket->Send(rest, nLength, error)) {
            rest += *sent;
            nLength -= *sent;
        } else if (error != kSocketWouldBlock) {
            m_dwLastError = error;
            sendFailed = true;
        }
    }
    return !sendFailed && !IsAborted();
}

std::optional<std::size_t> CHttpTran::ReceiveBytes(void* pBuffer, std::size_t nLength, bool* pbTryAgain) {
    std::uint32_t error = 0;
    const auto got = m_socket->Receive(pBuffer, nLength, error);
    return Received(got, error, pbTryAgain);
}

// What is there is looked at before it is taken. Two calls for each byte were a third of the time from the
// login to the first picture of a large wall; now a line is two.
std::optional<std::size_t> CHttpTran::ReceiveLine(char* pBuffer, std::size_t nLength, bool* pbTryAgain) {
    std::array<char, 1024> ahead;
    std::uint32_t error = 0;
    const auto got = m_socket->Peek(ahead.data(), std::min(nLength, ahead.size()), error);
    if (got.value_or(0) == 0) {
        return Received(got, error, pbTryAgain);
    }
    const std::string_view there(ahead.data(), *got);
    const std::size_t end = there.find('\n');
    return ReceiveBytes(pBuffer, end == std::string_view::npos ? *got : end + 1, pbTryAgain);
}

std::optional<std::size_t> CHttpTran::Received(std::optional<std::size_t> got, std::uint32_t error,
                                               bool* pbTryAgain) {
    *pbTryAgain = !got && error == kSocketWouldBlock && !m_bBlocking;
    if (!got && !*pbTryAgain) {
        // A blocking socket whose receive time-out passed reports it like one that would block.
        m_dwLastError = error == kSocketWouldBlock ? kSocketTimedOut : error;
    }
    return got;
}

std::size_t CHttpTran::TakePushback(void* pBuffer, std::size_t nLength) {
    const std::size_t count = std::min(nLength, m_nPushbackLen - m_nPushbackPos);
    if (count > 0) {
        std::memcpy(pBuffer, m_pPushback->data() + m_nPushbackPos, count);
        m_nPushbackPos += count;
    }
    if (m_nPushbackPos == m_nPushbackLen) {
        m_nPushbackLen = m_nPushbackPos = 0;
    }
    return count;
}

bool CHttpTran::ReadLine(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) {
    const std::size_t capacity = *pnLength;
    std::size_t length = 0;
    bool bEnded = false;
    while (!bEnded && !IsAborted() && length < capacity) {
        if (!WaitReady(To::Read, dwTimeout)) {
            // What came before a stall stays told; callers take it as a line.
            break;
        }
        std::size_t got = TakePushback(pBuffer + length, 1);
        if (got == 0) {
            bool tryAgain = false;
            got = ReceiveLine(pBuffer + length, capacity - length, &tryAgain).value_or(0);
            if (tryAgain) {
                continue;
            }
            if (got == 0) {
                length = 0;
                break;
            }
        }
        if (HasLimit(dwTimeout)) {
            // Each byte has a wait of its own.
            Spend(dwTimeout, (got - 1) * kRoundMs);
        }
        length += got;
        bEnded = pBuffer[length - 1] == '\n';
    }
    if (bEnded && length < capacity) {
        pBuffer[length] = '\0';
    }
    *pnLength = length;
    return !IsAborted() && length != 0;
}

NotifyLine CHttpTran::ReadNotifyLine(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) {
    const std::size_t capacity = *pnLength;
    std::size_t& length = *pnLength;
    length = 0;
    while (!IsAborted() && length < capacity) {
        // A time-out goes on to the read: on this blocking socket that is where the thread sleeps.
        switch (WaitSocket(To::Read, dwTimeout)) {
            case Wait::Error:
                return NotifyLine::WaitError;
            case Wait::Ended:
                return NotifyLine::WaitEnded;
            case Wait::TimedOut:
            case Wait::Ready:
                break;
        }
        bool tryAgain = false;
        const auto got = ReceiveBytes(pBuffer + length, 1, &tryAgain);
        if (tryAgain) {
            return NotifyLine::WouldBlock;
        }
        if (!got && m_dwLastError == kSocketTimedOut) {
            return NotifyLine::TimedOut;
        }
        if (!got) {
            length = 0;
            return NotifyLine::Failed;
        }
        if (*got == 0) {
            return NotifyLine::Closed;
        }
        if (pBuffer[length] == '\n') {
            return NotifyLine::Line;
        }
        ++length;
    }
    return NotifyLine::Full;
}

bool CHttpTran::ReadToPair(std::uint8_t first, std::uint8_t second, char* pBuffer, std::size_t* pnLength,
                           std::uint32_t* dwTimeout) {
    const std::size_t capacity = *pnLength;
    std::size_t length = 0;
    bool found = false;
    if (!m_pPushback) {
        m_pPushback = std::make_unique<std::array<std::uint8_t, 1024>>();
    }
    while (!found && !IsAborted() && length < capacity && WaitReady(To::Read, dwTimeout)) {
        const std::size_t room = std::min(capacity - length, m_pPushback->size());
        std::size_t got = TakePushback(pBuffer + length, room);
        if (got == 0) {
            bool tryAgain = false;
            const auto received = ReceiveBytes(pBuffer + length, room, &tryAgain);
            if (tryAgain) {
                continue;
            }
            got = received.value_or(0);
            if (got == 0) {
                length = 0;
                break;
            }
        }
        const std::size_t end = length + got;
        for (std::size_t i = std::max<std::size_t>(length, 1); i < end && !found; ++i) {
            if (static_cast<std::uint8_t>(pBuffer[i - 1]) == first &&
                static_cast<std::uint8_t>(pBuffer[i]) == second) {
                found = true;
                // What was read behind the pair goes before what still waits.
                const std::size_t surplus = end - (i + 1);
                if (m_nPushbackLen != 0) {
                    m_nPushbackPos -= surplus;
                } else if (surplus > 0) {
                    std::memcpy(m_pPushback->data(), pBuffer + i + 1, surplus);
                    m_nPushbackPos = 0;
                    m_nPushbackLen = surplus;
                }
                length = i + 1;
            }
        }
        if (!found) {
            length = end;
        } else if (length < capacity) {
            pBuffer[length] = '\0';
        }
    }
    *pnLength = length;
    return !IsAborted() && length != 0;
}

bool CHttpTran::ReadToCRLF(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) {
    return ReadToPair(kCr, kLf, pBuffer, pnLength, dwTimeout);
}

bool CHttpTran::ReadToSOI(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) {
    return ReadToPair(kMarker, kStartOfImage, pBuffer, pnLength, dwTimeout);
}

bool CHttpTran::ReadToEOI(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) {
    return ReadToPair(kMarker, kEndOfImage, pBuffer, pnLength, dwTimeout);
}

bool CHttpTran::ReadJpeg(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) {
    return ReadToEOI(pBuffer, pnLength, dwTimeout);
}

std::size_t CHttpTran::ReadBlock(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout) {
    auto* const bytes = static_cast<std::uint8_t*>(pBuffer);
    std::size_t count = 0;
    while (!IsAborted() && count < nLength && WaitReady(To::Read, dwTimeout)) {
        // Pushed-back bytes go to the buffer's start, whatever stands there.
        if (const std::size_t taken = TakePushback(bytes, nLength - count)) {
            count += taken;
            continue;
        }
        bool tryAgain = false;
        const auto got = ReceiveBytes(bytes + count, nLength - count, &tryAgain);
        if (tryAgain) {
            continue;
        }
        if (!got) {
            return 0;
        }
        if (*got == 0) {
            break;
        }
        count += *got;
    }
    return IsAborted() ? 0 : count;
}

std::size_t CHttpTran::Receive(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout) {
    while (!IsAborted() && nLength > 0 && WaitReady(To::Read, dwTimeout)) {
        if (const std::size_t taken = TakePushback(pBuffer, nLength)) {
            return taken;
        }
        bool tryAgain = false;
        const auto got = ReceiveBytes(pBuffer, nLength, &tryAgain);
        if (!tryAgain) {
            return IsAborted() ? 0 : got.value_or(0);
        }
    }
    return 0;
}

bool CHttpTran::ParseHttpHeader(std::string_view line, HTTP_RESULT* pResult) {
    const std::size_t firstBlank = line.find(' ');
    const std::size_t secondBlank =
        firstBlank == std::string_view::npos ? firstBlank : line.find(' ', firstBlank + 1);
    if (secondBlank == std::string_view::npos) {
        return false;
    }
    std::fill(std::begin(pResult->szVersion), std::end(pResult->szVersion), '\0');
    line.copy(pResult->szVersion, sizeof pResult->szVersion);
    pResult->nStatus = WireInt(line.substr(firstBlank + 1));
    const std::string_view reason = line.substr(secondBlank + 1, sizeof pResult->szReason - 1);
    pResult->szReason[reason.copy(pResult->szReason, reason.size())] = '\0';
    return true;
}

bool CHttpTran::SetSocketOptions(std::uint32_t dwRecvTimeout) {
    return Keep(m_socket->SetKeepAlive(true)) && Keep(m_socket->SetReceiveTimeout(dwRecvTimeout));
}

bool CHttpTran::SetDeadPeer(const Socket::DeadPeer& times) {
    return Keep(m_socket->SetDeadPeer(times));
}

bool CHttpTran::SetSendBuffer(int bytes) {
    return Keep(m_socket->SetSendBuffer(bytes));
}

void CHttpTran::Shutdown() {
    m_socket->Shutdown();
}

void CHttpTran::CancelWait() {
    m_bCancel = true;
    while (m_nWaiters != 0) {
        m_clock.Sleep(Milliseconds(kRoundMs));
    }
    m_bCancel = false;
}

void CHttpTran::Close() {
    CancelWait();
    m_socket->Close();
    m_pPushback.reset();
    m_nPushbackLen = m_nPushbackPos = 0;
}

const char* CHttpTran::GetSocketErrorText() const {
    return SocketErrorText(m_dwLastError);
}

}  // namespace kvmon
