// What is known of one recorder. Shared by its threads and by CKelvaraInfo, so that a thread which was given
// up touches nothing that is gone.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/window_handle.h"
#include "server/documents/nvr_status.h"
#include "server/http/query_context.h"
#include "server/server_messages.h"

namespace kvmon {

class ServerWorker {
public:
    explicit ServerWorker(Clock& clock, SocketMaker makeSocket = SystemSocket::Make)
        : m_query(clock, std::move(makeSocket)) {}
    ServerWorker(const ServerWorker&) = delete;
    ServerWorker& operator=(const ServerWorker&) = delete;

    QueryContext& Query() { return m_query; }
    const QueryContext& Query() const { return m_query; }

    // Ready for a new thread.
    void PrepareStart();
    // Asks the threads to end: the event, the flag, and the end of their connections.
    void RequestStop();
    // Takes over what the console knows of `other`, whose thread was given up, and silences that one.
    void TakeOver(ServerWorker& other);
    // Set when the threads have to end.
    Event& ExitEvent() { return m_hExitEvent; }
    // Set when the channel list was published.
    Event& CapabilityEvent() { return m_hCapabilityEvent; }
    // The pause before the next try, on the exit event; the console is told when it ends.
    bool WaitRetryFor(const std::atomic<std::uint32_t>& nErrorCount);
    // A time of the clock while the thread waits for its next try, else 0.
    std::uint64_t RetryAt() const { return m_nRetryAt; }

    void SetConnectInfo(int nIdx, const std::string& host, std::uint32_t nPort, const std::string& user,
                        const std::string& password);
    void SetNotifyWnd(WindowHandle hWnd);
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

    // Puts what is known of the channels' abilities into a round that is about to be merged.
    void ApplyCapabilities(CNvrStatus& status) const;
    // Publishes what the status tells of them, and says so if that is news.
    void PublishCapabilities(const CNvrStatus& status);
    // Merges a finished round and posts what changed. True if the channel list was published anew.
    bool UpdateServerInfo(const CNvrStatus& status);
    // The last queries were answered.
    bool IsRoundGood() const { return m_bRoundGood; }
    void SetRoundGood(bool bGood) { m_bRoundGood = bGood; }

    // Does nothing if there is no receiver.
    void PostToConsole(std::uint32_t nMessage, std::uint32_t nCode);
    // A failure that a stop has caused is not told.
    void PostFailure(std::uint32_t nCode);
    // In a handler of the thread's loop: what it has caught is the state of the connection until the next
    // round. Allocates nothing that it cannot do without.
    void TellCaught(const char* lpszFunction) noexcept;
    bool IsNoRightReported() const { return m_bNoRightReported; }
    void SetNoRightReported(bool bReported) { m_bNoRightReported = bReported; }

    // Asks the recorder for its clock and keeps the difference to the local one.
    bool GetServerTime();
    bool IsTimeKnown() const { return m_bTimeKnown; }
    std::int64_t TimeOffset() const { return m_nTimeOffset; }

private:
    void PostLocked(std::uint32_t nMessage, std::uint32_t nCode);

    QueryContext m_query;
    std::atomic<bool> m_bNoRightReported{false};
    std::atomic<bool> m_bRoundGood{false};
    std::atomic<std::uint64_t> m_nRetryAt{0};
    std::atomic<std::int64_t> m_nTimeOffset{0};
    std::atomic<bool> m_bTimeKnown{false};  // set after the offset
    Event m_hExitEvent;
    Event m_hCapabilityEvent;
    mutable std::mutex m_cs;
    WindowHandle m_hNotifyWnd;                        // guarded by m_cs
    CNvrStatus m_Status;                              // guarded by m_cs
    bool m_bListPublished = false;                    // guarded by m_cs; also a list of no channels
    std::vector<ChannelCapabilities> m_Capabilities;  // guarded by m_cs
};

}  // namespace kvmon
