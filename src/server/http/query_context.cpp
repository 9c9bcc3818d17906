#include "server/http/query_context.h"

#include "persist/utilities.h"

namespace kvmon {

ServerTran::ServerTran(QueryContext& query)
    : CHttpTran(&query.m_bHttpTranFlag, query.m_clock, query.m_makeSocket()), m_query(query) {
    const std::lock_guard lock(m_query.m_csTrans);
    m_query.m_Trans.push_back(this);
}

ServerTran::~ServerTran() {
    const std::lock_guard lock(m_query.m_csTrans);
    std::erase(m_query.m_Trans, this);
}

void QueryContext::SetConnectInfo(int nIdx, const std::string& host, std::uint32_t nPort,
                                  const std::string& user, const std::string& password) {
    m_nIdx = nIdx;
    const std::lock_guard lock(m_cs);
    m_Connect.szHost = host;
    m_Connect.nPort = nPort;
    m_Connect.szUser = user;
    m_Connect.szPassword = password;
    m_Connect.szBase64Auth = MakeBasicAuth(user, password);
    ForgetFailureLocked();
}

ConnectInfo QueryContext::GetConnectInfo() const {
    const std::lock_guard lock(m_cs);
    return m_Connect;
}

void QueryContext::ForgetFailureLocked() {
    m_Failure = {};
    m_nNotFound = 0;
}

void QueryContext::NoteFailure(LinkFault fault, int nStatus) {
    if (IsStopped() && fault != LinkFault::None) {
        return;
    }
    const std::lock_guard lock(m_cs);
    m_nNotFound = 0;
    m_Failure = {fault, nStatus};
}

void QueryContext::NoteNotFound() {
    FlipCgiRoot();
    const std::lock_guard lock(m_cs);
    if (++m_nNotFound > 1) {
        m_Failure = {LinkFault::NotFound, 404};
    }
}

LinkFailure QueryContext::GetFailure() const {
    const std::lock_guard lock(m_cs);
    return m_Failure;
}

std::string QueryContext::CgiRoot() const {
    const std::lock_guard lock(m_cs);
    return m_bCgiRootEmpty ? "" : "/cgi-bin";
}

void QueryContext::FlipCgiRoot() {
    const std::lock_guard lock(m_cs);
    m_bCgiRootEmpty = !m_bCgiRootEmpty;
}

void QueryContext::PrepareStart() {
    m_bHttpTranFlag = 0;
    const std::lock_guard lock(m_cs);
    ForgetFailureLocked();
}

void QueryContext::AbortTransactions() {
    m_bHttpTranFlag = 1;
    ShutdownConnections();
}

void QueryContext::ShutdownConnections() {
    const std::lock_guard lock(m_csTrans);
    for (CHttpTran* const tran : m_Trans) {
        tran->Shutdown();
    }
}

void QueryContext::TakeOver(const QueryContext& other) {
    const std::scoped_lock lock(m_cs, other.m_cs);
    m_Connect = other.m_Connect;
    m_bCgiRootEmpty = other.m_bCgiRootEmpty;
    m_Failure = other.m_Failure;
    m_nIdx = other.m_nIdx.load();
    m_dwErrorCount = other.m_dwErrorCount.load();
    m_bHttpTranFlag = other.m_bHttpTranFlag.load();
}

}  // namespace kvmon
