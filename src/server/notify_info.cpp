#include "server/notify_info.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <utility>

#include "persist/log_file.h"
#include "server/http/conc_info.h"
#include "server/http/control_rights.h"
#include "server/http/disk_info.h"
#include "server/http/document_reader.h"
#include "server/http/ext_info.h"
#include "server/query_step.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kGiveUpAfter = 11;
constexpr std::uint32_t kNotifyConnectMs = 20000;
// Each line costs a pause. A recorder of many channels may have one for each of them at once, and they are
// served; with more in a row that were there already the client is behind by as many seconds and more: a new
// connection begins with a full refresh and leaves them where they are.
constexpr int kMostBehind = 24;
constexpr std::uint64_t kAtOnceMs = 50;
constexpr std::size_t kLongestLine = 1024;
// A recorder that lost its power or its line says no goodbye. The first question goes out after 15 quiet
// seconds, the connection ends by the third; a line feed that nobody confirms ends it within 45 s, too.
constexpr Socket::DeadPeer kDeadRecorder{15, 10, 3, 30000};
// Two failures carry the number of the message in place of a code; the console takes any code.
constexpr std::uint32_t kFailedRefresh = WM_GETVSINFO_FAILED;

using ToldFor = QueryStep::ToldFor;

constexpr QueryStep kDiskSteps[] = {
    {"GetNvrDiskInfo", &GetNvrDiskInfo, kFailedDiskInfo, ToldFor::FirstServer},
};
constexpr QueryStep kAllSteps[] = {
    {"GetNvrVsConcInfo", &GetNvrVsConcInfo, kFailedConcInfo, ToldFor::AllServers},
    {"GetNvrDiskInfo", &GetNvrDiskInfo, kFailedRefresh, ToldFor::FirstServer},
    {"GetExtInfo", &GetExtInfo, kFailedRefresh, ToldFor::AllServers},
    {"GetControlAuth", &GetControlAuth, kFailedControlAuth, ToldFor::AllServers},
};

class NotifyLoop {
public:
    NotifyLoop(ServerWorker& worker, CNvrStatus& status)
        : m_worker(worker), m_query(worker.Query()), m_status(status) {}

    // Runs until the connection has to end.
    void Run(CHttpTran& tran) {
        // Every connection begins with a full refresh, for what happened while there was none.
        std::string_view line = "2\n";
        while (HandleAndPublish(line)) {
            if (m_nTimeoutCount != 0) {
                if (!tran.Send("\n", nullptr)) {
                    return;
                }
                m_nTimeoutCount = 0;
            }
            const NotifyLine nRes = ReadLine(tran);
            if (nRes == NotifyLine::TimedOut) {
                ++m_nTimeoutCount;
            } else if (nRes != NotifyLine::Line) {
                Trace("CKelvaraInfo::GetNotifyInfo: m_nIdx=%d, Get notify.cgi broken(nRes = %d).\n",
                      m_query.GetIdx(), static_cast<int>(nRes));
                return;
            } else if (m_nBehind > kMostBehind) {
                Trace("CKelvaraInfo::GetNotifyInfo: m_nIdx=%d, too many lines wait.\n", m_query.GetIdx());
                return;
            }
            if (WaitRetryFailed()) {
                return;
            }
            line = nRes == NotifyLine::Line ? std::string_view(m_line) : std::string_view();
        }
    }

private:
    // Goes on with a line of which a part came before the time-out.
    NotifyLine ReadLine(CHttpTran& tran) {
        if (m_line.ends_with('\n')) {
            m_line.clear();
        }
        std::array<char, kLongestLine> buffer;
        std::size_t length = buffer.size() - std::min(m_line.size(), buffer.size());
        std::uint32_t dwTimeout = 500;
        const std::uint64_t began = m_query.GetClock().TickMs();
        const NotifyLine nRes = tran.ReadNotifyLine(buffer.data(), &length, &dwTimeout);
        const bool bWaited = nRes == NotifyLine::Line && m_query.GetClock().TickMs() - began < kAtOnceMs;
        m_nBehind = bWaited ? m_nBehind + 1 : 0;
        m_line.append(buffer.data(), length);
        if (nRes == NotifyLine::Line) {
            m_line += '\n';
        }
        return nRes;
    }

    // The pause after each line. True if it was cut short, or a stop is asked for.
    bool WaitRetryFailed() {
        const std::atomic<std::uint32_t> count(m_dwErrorCount);
        return m_worker.WaitRetryFor(count) || m_query.IsStopped();
    }

    bool HandleAndPublish(std::string_view line) {
        m_bRefreshOk = false;
        if (!line.empty()) {
            HandleLine(line);
        }
        if (m_bRefreshOk) {
            m_dwErrorCount = 0;
            if (line == "2\n" && !std::exchange(m_bFirst, false)) {
                // The channels' streams may be other ones although the list is the same. The first refresh
                // follows a round, which has asked.
                m_worker.CapabilityEvent().Set();
            }
            m_worker.ApplyCapabilities(m_status);
            if (m_worker.UpdateServerInfo(m_status)) {
                m_query.SetErrorCount(0);
            }
        }
        return !m_bDone;
    }

    void HandleLine(std::string_view line) {
        if (line == "1\n") {
            Refresh(kDiskSteps);
        } else if (line == "2\n") {
            Refresh(kAllSteps);
        } else if (line == "3\n") {
            Trace("CKelvaraInfo::GetNotifyInfo: m_nIdx=%d, Server send shutdown notify.\n", m_query.GetIdx());
            m_bDone = true;
        }
    }

    // Tries until it succeeds, has failed too often or a stop is asked for.
    void Refresh(std::span<const QueryStep> steps) {
        for (;;) {
            m_bRefreshOk = RunSteps(steps);
            if (m_bRefreshOk) {
                return;
            }
            if (m_dwErrorCount > kGiveUpAfter) {
                m_bDone = true;
                return;
            }
            if (WaitRetryFailed()) {
                return;
            }
        }
    }

    bool RunSteps(std::span<const QueryStep> steps) {
        for (const QueryStep& step : steps) {
            std::uint32_t dwErrorCode = 0;
            if (step.query(m_query, m_status, &dwErrorCode)) {
                continue;
            }
            ++m_dwErrorCount;
            m_worker.SetRoundGood(false);
            Trace(
                "CKelvaraInfo::GetNotifyInfo: %s failed, m_nIdx=%d, m_dwErrorCount=%d, dwErrorCode=%d, "
                "dwErrorCount=%d...\n",
                step.name, m_query.GetIdx(), static_cast<int>(m_query.ErrorCount()),
                static_cast<int>(dwErrorCode), static_cast<int>(m_dwErrorCount));
            step.TellFailure(m_worker);
            return false;
        }
        m_worker.SetRoundGood(true);
        return true;
    }

    ServerWorker& m_worker;
    QueryContext& m_query;
    CNvrStatus& m_status;
    std::string m_line;  // what has come of it
    int m_nBehind = 0;   // lines in a row that waited already
    int m_nTimeoutCount = 0;
    std::uint32_t m_dwErrorCount = 0;
    bool m_bFirst = true;
    bool m_bDone = false;
    bool m_bRefreshOk = false;
};

// Connects, sends the request and sets the receive time-out by how long the reply took.
bool OpenNotifyConnection(QueryContext& query, CHttpTran& tran, const ConnectInfo& connect,
                          std::string_view request) {
    std::uint32_t dwConnect = kNotifyConnectMs;
    if (!tran.Create(SocketKind::Blocking) || !tran.SetDeadPeer(kDeadRecorder) ||
        !tran.Connect(connect.szHost.c_str(), connect.nPort, &dwConnect)) {
        return false;
    }
    const auto dwFstTick = static_cast<std::uint32_t>(query.GetClock().TickMs());
    std::uint32_t dwTimeout = 30000;
    if (!tran.Send(request, &dwTimeout)) {
        return false;
    }
    dwTimeout = 3000;
    std::array<char, 1024> line{};
    std::size_t length = line.size();
    HTTP_RESULT http_result;
    if (!tran.ReadLine(line.data(), &length, &dwTimeout) ||
        !CHttpTran::ParseHttpHeader({line.data(), length}, &http_result) || http_result.nStatus != 200) {
        return false;
    }
    const auto dwSndTick = static_cast<std::uint32_t>(query.GetClock().TickMs());
    if (dwSndTick < dwFstTick) {
        return false;  // the counter wrapped
    }
    const std::uint32_t difference = dwSndTick - dwFstTick;
    Trace("CKelvaraInfo::GetNotifyInfo: m_nIdx=%d, dwSndTick - dwFstTick(Socket timeout value) = %d\n",
          query.GetIdx(), static_cast<int>(difference));
    const std::uint64_t timeout = std::uint64_t{difference} * 3 / 2;
    tran.SetSocketOptions(static_cast<std::uint32_t>(
        std::min<std::uint64_t>(timeout, std::numeric_limits<std::int32_t>::max())));
    return true;
}

}  // namespace

void GetNotifyInfo(ServerWorker& worker, CNvrStatus& status) {
    QueryContext& query = worker.Query();
    const ConnectInfo connect = query.GetConnectInfo();
    // This path does not follow the root of the other documents.
    const std::string request = FormatText(
        "GET /cgi-bin/notify.cgi HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: %s\r\n"
        "Connection: Keep-Alive\r\nAuthorization: Basic %s\r\n\r\n",
        connect.szHost.c_str(), connect.szBase64Auth.c_str());
    if (request.size() > kMaxShortRequest) {
        Trace("CKelvaraInfo::GetNotifyInfo: m_nIdx=%d, _snprintf failed, header buffer is too small...\n",
              query.GetIdx());
        return;
    }
    {
        ServerTran tran(query);
        if (OpenNotifyConnection(query, tran, connect, request)) {
            NotifyLoop(worker, status).Run(tran);
        }
    }
    Trace("CKelvaraInfo::GetNotifyInfo: Leave, m_nIdx=%d...\n", query.GetIdx());
}

}  // namespace kvmon
