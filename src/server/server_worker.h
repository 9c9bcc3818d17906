// What the thread of one recorder owns and works on. Shared by that thread and by CKelvaraInfo, so that a
// thread which was given up touches nothing that is gone.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/window_handle.h"
#include "platform/worker.h"
#include "server/http_tran.h"
#include "server/link_failure.h"
#include "server/nvr_status.h"
#include "server/server_messages.h"

namespace kvmon {

// The connection data that one query works with.
struct ConnectInfo {
    BoundedText<64> szHost;
    std::uint32_t nPort = 80;
    BoundedText<64> szUser, szPassword;
    BoundedText<256> szBase64Auth;
};

// Waits 0 ms, then rounds of 500 ms until the event is set, the flag is set, or the count's limit is
// reached: 2 rounds below 3 failures, 10 up to 7, 30 from 8 on. True if the event ended the wait.
bool WaitRetry(Clock& clock, Event& event, const FlagWord& flag, std::uint32_t nErrorCount);
// The same with a count that may rise meanwhile: the console counts a failure when its message arrives, and a
// refused connection is back here before that. `pnEndsAt` tells meanwhile when the wait will end, as a time
// of the clock; it is 0 again afterwards.
bool WaitRetry(Clock& clock, Event& event, const FlagWord& flag,
               const std::atomic<std::uint32_t>& nErrorCount, std::atomic<std::uint64_t>* pnEndsAt = nullptr);

class ServerWorker {
public:
    explicit ServerWorker(Clock& clock) : m_clock(clock) {}
    ServerWorker(const ServerWorker&) = delete;
    ServerWorker& operator=(const ServerWorker&) = delete;

    // --- the thread

    // The thread's whole life: rounds of queries, each followed by the notification connection.
    void GetKelvaraInfoFunc();
    // The life of the thread beside it, which reads what the channels can do each time that their list is
    // published, so that no round and no notification waits for documents that many recorders lack.
    void GetCapabilitiesFunc();
    // Ready for a new thread.
    void PrepareStart();
    // Asks the thread to end: both events, the flag, and the end of its connections.
    void RequestStop();
    // Gives up the transactions under way; the thread goes on with its next round.
    void AbortTransactions();
    void ShutdownConnections();
    // Takes over what the console knows of `other`, whose thread was given up, and silences that one.
    void TakeOver(ServerWorker& other);

    // --- the console's side; all under m_cs

    void SetConnectInfo(int nIdx, const std::string& host, std::uint32_t nPort, const std::string& user,
                        const std::string& password);
    void SetNotifyWnd(WindowHandle hWnd);
    ConnectInfo GetConnectInfo() const;
    // Calls `use` with the published status.
    template <typename Use>
    auto WithStatus(Use use) const {
        const std::lock_guard lock(m_cs);
        return use(m_Status);
    }
    template <typename Use>
    void ChangeStatus(Use use) {
        const std::lock_guard lock(m_cs);
        use(m_Status);
    }

    // --- the queries: false with a code of document_errors.h. They fill `status` and take no lock on the
    // published one.

    bool GetNvrVsConcInfo(CNvrStatus& status, std::uint32_t* pdwErrorCode);
    bool GetNvrDiskInfo(CNvrStatus& status, std::uint32_t* pdwErrorCode);
    bool GetExtInfo(CNvrStatus& status, std::uint32_t* pdwErrorCode);
    // Grant the right for all channels; both succeed always.
    bool GetControlAuth(CNvrStatus& status, std::uint32_t* pdwErrorCode);
    bool GetAdministrators(CNvrStatus& status, std::uint32_t* pdwErrorCode);
    bool LogoutServer();
    bool GetServerTime();
    // Holds the thread for the life of one notification connection.
    void GetNotifyInfo(CNvrStatus& status);
    // What is known of the channels' abilities, into a round that is about to be merged.
    void ApplyCapabilities(CNvrStatus& status) const;
    // Merges a finished round and posts what changed. True if the channel list was published anew.
    bool UpdateServerInfo(const CNvrStatus& status);

    // Does nothing if there is no receiver.
    void PostToConsole(std::uint32_t nMessage, std::uint32_t nCode);
    // A failure that a stop has caused is not told.
    void PostFailure(std::uint32_t nCode);

    // What the last try of the recorder came to. A stop is no failure.
    void NoteFailure(LinkFault fault, int nStatus = 0);
    LinkFailure GetFailure() const;
    // The list of channels was not found below one of the roots.
    void NoteNotFound();

    // Below which the documents stand: a 404 turns from one to the other.
    std::string CgiRoot() const;
    void FlipCgiRoot();
    Clock& GetClock() const { return m_clock; }
    bool IsStopped() const { return m_bHttpTranFlag != 0; }

    std::atomic<int> m_nIdx{-1};
    std::atomic<std::uint32_t> m_dwErrorCount{0};
    std::atomic<bool> m_bNoRightReported{false};
    std::atomic<bool> m_bStopSilently{false};
    std::atomic<bool> m_bRoundGood{false};     // the last queries were answered
    std::atomic<std::uint64_t> m_nRetryAt{0};  // a time of the clock while the thread waits for its next try
    std::atomic<std::int64_t> m_nTimeOffset{0};
    std::atomic<bool> m_bTimeKnown{false};  // set after the offset
    FlagWord m_bHttpTranFlag{0};
    Event m_hExitEvent;
    Event m_hRefreshEvent;
    Event m_hCapabilityEvent;  // the channel list was published
    // 0: notification; 1: rounds on m_hRefreshEvent; 2: rounds by time. Set before the start only.
    int m_nGetMode = 0;
    // The round omits GetExtInfo and what follows it. Set before the start only.
    bool m_bBasicOnly = false;

private:
    friend class ServerTran;
    struct Round;  // the thread's locals

    void ForgetProgressLocked();
    void RunQueries(Round& round);
    void ReportAuthFailure(Round& round);
    bool WaitAfterRound(Round& round);
    void ReadCapabilities();
    void PublishCapabilities(const CNvrStatus& status);
    void PostLocked(std::uint32_t nMessage, std::uint32_t nCode);

    Clock& m_clock;
    mutable std::mutex m_cs;
    WindowHandle m_hNotifyWnd;                        // guarded by m_cs
    ConnectInfo m_Connect;                            // guarded by m_cs
    CNvrStatus m_Status;                              // guarded by m_cs
    bool m_bCgiRootEmpty = false;                     // guarded by m_cs
    bool m_bListPublished = false;                    // guarded by m_cs; also a list of no channels
    LinkFailure m_Failure;                            // guarded by m_cs
    int m_nNotFound = 0;                              // guarded by m_cs; one after the other
    std::vector<ChannelCapabilities> m_Capabilities;  // guarded by m_cs
    std::mutex m_csTrans;
    std::vector<CHttpTran*> m_Trans;  // guarded by m_csTrans
};

// A transaction of a server's, which a stop can end.
class ServerTran final : public CHttpTran {
public:
    explicit ServerTran(ServerWorker& worker);
    ~ServerTran() override;

private:
    ServerWorker& m_worker;
};

}  // namespace kvmon
