// One exchange over a socket: connect, send, read lines or blocks.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/socket.h"
#include "platform/worker.h"

namespace kvmon {

// A budget of milliseconds that a transaction spends as it goes, 250 for each wait. Null or
// kNoTimeout: no limit.
inline constexpr std::uint32_t kNoTimeout = 0xFFFFFFFF;

// Whether a read waits in rounds, which a stop ends, or in the system.
enum class SocketKind { InRounds, Blocking };

struct HTTP_RESULT {
    char szVersion[8] = {};  // not terminated
    int nStatus = 0;
    char szReason[33] = {};
};

// Results of ReadNotifyLine.
enum class NotifyLine {
    Line = 0,
    WaitError = 2,
    WaitEnded = 4,
    Closed = 5,
    WouldBlock = 6,
    TimedOut = 7,
    Failed = 8,
    Full = 9,
};

// The socket floor of every request. Used by one thread; other threads may set the caller's abort
// flag (seen within 250 ms), and call CancelWait and Shutdown.
//
// All reads take a budget by pointer, which each successful wait lowers by at least 250. Every
// operation gives false (or 0) on failure and leaves the cause in GetSocketError.
class CHttpTran {
public:
    explicit CHttpTran(const FlagWord* pAbortFlag, Clock& clock = SystemClock(),
                       std::unique_ptr<Socket> socket = SystemSocket::Make());
    virtual ~CHttpTran();
    CHttpTran(const CHttpTran&) = delete;
    CHttpTran& operator=(const CHttpTran&) = delete;

    // Opens an IPv4 stream socket bound to any free port. False if one is open already.
    bool Create(SocketKind kind = SocketKind::InRounds);
    // Dotted text or a name. Waits for the connection within the budget; a blocking socket without one waits
    // as long as the system does.
    bool Connect(const char* lpszHost, std::uint32_t nPort, std::uint32_t* dwTimeout);
    // A wait that runs out of budget does not by itself make this false.
    bool Send(const void* pData, std::size_t nLength, std::uint32_t* dwTimeout);
    bool Send(std::string_view text, std::uint32_t* dwTimeout) {
        return Send(text.data(), text.size(), dwTimeout);
    }

    // One line with its LF, NUL-terminated when it fits. Capacity in, length out. True with a full
    // buffer too.
    bool ReadLine(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout);
    // On the blocking notification connection: a line with its LF, which the length does not count.
    NotifyLine ReadNotifyLine(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout);
    // Blocks up to and including the delimiter; what was read behind it waits for the next read.
    virtual bool ReadToCRLF(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout);
    bool ReadToSOI(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout);
    bool ReadToEOI(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout);
    // A picture of a stream of them, up to its end mark. True with a full buffer and after a stall too: the
    // length tells.
    bool ReadJpeg(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout);
    // The number of bytes placed in the buffer: all that were wanted, fewer at the peer's end or a
    // stall, 0 on failure or abort.
    virtual std::size_t ReadBlock(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout);
    // One read of what is there now, at most nLength bytes, for callers that loop themselves. 0 on
    // failure, abort, stall or the peer's end.
    std::size_t Receive(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout);

    // False, and the result as it was, if the line has not two blanks.
    static bool ParseHttpHeader(std::string_view line, HTTP_RESULT* pResult);

    // A receive time-out of 0 means no limit.
    bool SetSocketOptions(std::uint32_t dwRecvTimeout);
    // How soon an open connection notices that its peer is gone.
    bool SetDeadPeer(const Socket::DeadPeer& times);
    // Keeps little of what the peer does not take, so that a stall shows early. Between Create and Connect.
    bool SetSendBuffer(int bytes);
    // Asked in each round of a wait, with the nominal milliseconds that passed in waits since it was asked
    // before: true ends this wait and those that follow, as when their budget is used up.
    using GiveUpWait = std::function<bool(std::uint64_t nIdleMs)>;
    void SetGiveUp(GiveUpWait giveUp) { m_giveUp = std::move(giveUp); }
    void Close();
    void CancelWait();
    // Ends a blocked operation of another thread by shutting the connection down. Any thread.
    void Shutdown();

    std::uint32_t GetSocketError() const { return m_dwLastError; }
    const char* GetSocketErrorText() const;

private:
    enum class Wait { Ended, Error, TimedOut, Ready };

    bool IsAborted() const { return m_pAbortFlag != nullptr && *m_pAbortFlag != 0; }
    enum class To { Read, Write };
    Wait WaitSocket(To to, std::uint32_t* dwTimeout);
    bool WaitReady(To to, std::uint32_t* dwTimeout) { return WaitSocket(to, dwTimeout) == Wait::Ready; }
    bool ReadToPair(std::uint8_t first, std::uint8_t second, char* pBuffer, std::size_t* pnLength,
                    std::uint32_t* dwTimeout);
    // Nothing on an error, which is stored unless the socket only has nothing yet (`pbTryAgain`).
    std::optional<std::size_t> ReceiveBytes(void* pBuffer, std::size_t nLength, bool* pbTryAgain);
    // As ReceiveBytes, but nothing behind a line's end.
    std::optional<std::size_t> ReceiveLine(char* pBuffer, std::size_t nLength, bool* pbTryAgain);
    std::optional<std::size_t> Received(std::optional<std::size_t> got, std::uint32_t error,
                                        bool* pbTryAgain);
    std::size_t TakePushback(void* pBuffer, std::size_t nLength);
    bool Keep(std::uint32_t code);

    const std::unique_ptr<Socket> m_socket;
    std::atomic<bool> m_bCancel{false};
    std::atomic<int> m_nWaiters{0};
    std::uint32_t m_dwLastError = 0;
    const FlagWord* const m_pAbortFlag;
    Clock& m_clock;
    bool m_bBlocking = false;
    GiveUpWait m_giveUp;
    std::uint64_t m_nIdleMs = 0;
    std::unique_ptr<std::array<std::uint8_t, 1024>> m_pPushback;
    std::size_t m_nPushbackLen = 0;
    std::size_t m_nPushbackPos = 0;
};

}  // namespace kvmon
