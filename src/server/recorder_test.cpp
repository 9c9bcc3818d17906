#include "server/recorder_test.h"

#include <mutex>
#include <optional>

#include "platform/socket.h"
#include "server/documents/document_errors.h"
#include "server/http/conc_info.h"
#include "server/http/query_context.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kTestConnectMs = 5000;
constexpr int kRoots = 2;  // a recorder's documents stand below one of two paths

RecorderTestReport Failed(RecorderTestResult result) {
    return {result, {}, 0};
}

RecorderTestResult OfConnectError(std::uint32_t code) {
    constexpr std::uint32_t kRefused = 10061;
    switch (code) {
        case kRefused:
            return RecorderTestResult::Refused;
        case kSocketAborted:  // the wait ran out
        case kSocketTimedOut:
            return RecorderTestResult::TimedOut;
        default:
            return RecorderTestResult::Unreachable;
    }
}

bool IsKnownHost(QueryContext& query, const std::string& host) {
    return ParseDottedAddress(host) || ResolveName(host, [&query] { return query.IsStopped(); });
}

// A connection for the cause alone: the query that follows tells only that it had none.
std::optional<RecorderTestResult> FindConnectFailure(QueryContext& query, const ConnectInfo& connect) {
    ServerTran tran(query);
    std::uint32_t budget = kTestConnectMs;
    if (!tran.Create()) {
        return RecorderTestResult::Unreachable;
    }
    if (!tran.Connect(connect.szHost.c_str(), connect.nPort, &budget)) {
        return OfConnectError(tran.GetSocketError());
    }
    return std::nullopt;
}

RecorderTestReport AskRecorder(QueryContext& query) {
    for (int i = 0; i < kRoots; ++i) {
        CNvrStatus status;
        std::uint32_t code = 0;
        if (GetNvrVsConcInfo(query, status, &code)) {
            return {RecorderTestResult::Works, std::string(TrimRight(status.m_strServerName, "\r")),
                    static_cast<int>(status.m_VideoSettingList.size())};
        }
        switch (static_cast<ConcInfoError>(code)) {
            case ConcInfoError::NotFound:
                break;  // the query has turned to the other path
            case ConcInfoError::Unauthorized:
                return Failed(RecorderTestResult::WrongPassword);
            case ConcInfoError::Create:
            case ConcInfoError::Connect:
                return Failed(RecorderTestResult::Unreachable);
            default:
                return Failed(RecorderTestResult::NotARecorder);
        }
    }
    return Failed(RecorderTestResult::NotARecorder);
}

RecorderTestReport TryRecorder(QueryContext& query) {
    const ConnectInfo connect = query.GetConnectInfo();
    if (!IsKnownHost(query, std::string(connect.szHost.View()))) {
        return Failed(RecorderTestResult::NoSuchHost);
    }
    if (const auto failure = FindConnectFailure(query, connect)) {
        return Failed(*failure);
    }
    return AskRecorder(query);
}

}  // namespace

struct RecorderTest::Try {
    explicit Try(Clock& clock) : query(clock) {}

    QueryContext query;
    std::mutex cs;
    RecorderTestReport report;  // guarded by cs
};

std::uint32_t RecorderTest::Start(const std::string& host, std::uint32_t nPort, const std::string& user,
                                  const std::string& password, WindowHandle receiver, std::uint32_t message) {
    Stop();
    const auto attempt = std::make_shared<Try>(m_clock);
    attempt->query.SetConnectInfo(-1, host, nPort, user, password);
    attempt->query.PrepareStart();
    const std::uint32_t number = ++m_nNumber;
    if (!m_thread.Start("recordertest", [attempt, number, receiver = std::move(receiver), message] {
            RecorderTestReport report = TryRecorder(attempt->query);
            if (attempt->query.IsStopped()) {
                return;
            }
            {
                const std::lock_guard lock(attempt->cs);
                attempt->report = std::move(report);
            }
            receiver.Post(message, number, 0);
        })) {
        return 0;
    }
    m_try = attempt;
    return number;
}

void RecorderTest::Stop() {
    if (m_try) {
        m_try->query.AbortTransactions();
        m_try.reset();
    }
    if (!m_thread.Wait(Milliseconds(0))) {
        m_thread.Abandon();
    }
}

RecorderTestReport RecorderTest::Take() {
    const std::shared_ptr<Try> attempt = std::move(m_try);
    m_try = nullptr;
    if (!attempt) {
        return {};
    }
    const std::lock_guard lock(attempt->cs);
    return attempt->report;
}

}  // namespace kvmon
