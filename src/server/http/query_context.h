// What the queries to one recorder share.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/secret_memory.h"
#include "platform/worker.h"
#include "server/documents/camera_settings.h"
#include "server/http/http_tran.h"
#include "server/http/link_failure.h"

namespace kvmon {

// The connection data that one query works with.
struct ConnectInfo {
    BoundedText<64> szHost;
    std::uint32_t nPort = 80;
    BoundedText<64> szUser;
    SecretText<64> szPassword;
    SecretText<256> szBase64Auth;
};

// Whom they ask and below which root, how a stop ends them, and what the last try came to. Any thread.
class QueryContext {
public:
    explicit QueryContext(Clock& clock, SocketMaker makeSocket = SystemSocket::Make)
        : m_clock(clock), m_makeSocket(std::move(makeSocket)) {}
    QueryContext(const QueryContext&) = delete;
    QueryContext& operator=(const QueryContext&) = delete;

    void SetConnectInfo(int nIdx, const std::string& host, std::uint32_t nPort, const std::string& user,
                        const std::string& password);
    ConnectInfo GetConnectInfo() const;
    int GetIdx() const { return m_nIdx; }
    void SetIdx(int nIdx) { m_nIdx = nIdx; }
    Clock& GetClock() const { return m_clock; }

    // Below which the documents stand: a 404 turns from one to the other.
    std::string CgiRoot() const;
    void FlipCgiRoot();

    // A stop holds until PrepareStart.
    void PrepareStart();
    bool IsStopped() const { return m_bHttpTranFlag != 0; }
    const FlagWord& StopFlag() const { return m_bHttpTranFlag; }
    // The transactions under way end, and those that are begun.
    void AbortTransactions();
    // Lets transactions begin again behind AbortTransactions.
    void AllowTransactions() { m_bHttpTranFlag = 0; }
    void ShutdownConnections();

    // What the last try of the recorder came to. A stop is no failure.
    void NoteFailure(LinkFault fault, int nStatus = 0);
    LinkFailure GetFailure() const;
    // The list of channels was not found below one of the roots.
    void NoteNotFound();

    // Failures since the last good round, as the console counts them.
    const std::atomic<std::uint32_t>& ErrorCount() const { return m_dwErrorCount; }
    void SetErrorCount(std::uint32_t dwCount) { m_dwErrorCount = dwCount; }
    void RaiseErrorCount() { ++m_dwErrorCount; }

    // For a thread that was given up: its successor's queries go on as these would.
    void TakeOver(const QueryContext& other);

private:
    friend class ServerTran;

    void ForgetFailureLocked();

    Clock& m_clock;
    const SocketMaker m_makeSocket;
    std::atomic<int> m_nIdx{-1};
    std::atomic<std::uint32_t> m_dwErrorCount{0};
    FlagWord m_bHttpTranFlag{0};
    mutable std::mutex m_cs;
    ConnectInfo m_Connect;         // guarded by m_cs
    bool m_bCgiRootEmpty = false;  // guarded by m_cs
    LinkFailure m_Failure;         // guarded by m_cs
    int m_nNotFound = 0;           // guarded by m_cs; one after the other
    std::mutex m_csTrans;
    std::vector<CHttpTran*> m_Trans;  // guarded by m_csTrans
};

// A transaction of a query's, which a stop can end.
class ServerTran final : public CHttpTran {
public:
    explicit ServerTran(QueryContext& query);
    ~ServerTran() override;

private:
    QueryContext& m_query;
};

}  // namespace kvmon
