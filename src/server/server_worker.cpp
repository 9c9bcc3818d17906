#include "server/server_worker.h"

#include <algorithm>

#include "persist/log_file.h"
#include "persist/utilities.h"
#include "server/capability_reader.h"
#include "server/document_errors.h"

namespace kvmon {

namespace {

constexpr Milliseconds kRetryRound{500};
constexpr int kSilentAuthRounds = 3;
constexpr std::uint32_t kFixedRetryCount = 30;  // for mode 2
// For the documents about abilities, when the recorder gave no answer at all.
constexpr int kCapabilityRetries = 2;
constexpr Milliseconds kCapabilityPause{5000};

int RetryRounds(std::uint32_t nErrorCount) {
    return nErrorCount < 3 ? 2 : nErrorCount < 8 ? 10 : 30;
}

}  // namespace

bool WaitRetry(Clock& clock, Event& event, const FlagWord& flag, std::uint32_t nErrorCount) {
    const std::atomic<std::uint32_t> fixed(nErrorCount);
    return WaitRetry(clock, event, flag, fixed);
}

bool WaitRetry(Clock& clock, Event& event, const FlagWord& flag,
               const std::atomic<std::uint32_t>& nErrorCount, std::atomic<std::uint64_t>* pnEndsAt) {
    bool set = clock.Wait(event, Milliseconds(0));
    for (int i = 0; i < RetryRounds(nErrorCount) && flag == 0 && !set; ++i) {
        if (pnEndsAt != nullptr) {
            const Milliseconds left = (RetryRounds(nErrorCount) - i) * kRetryRound;
            *pnEndsAt = clock.TickMs() + static_cast<std::uint64_t>(left.count());
        }
        set = clock.Wait(event, kRetryRound);
    }
    if (pnEndsAt != nullptr) {
        *pnEndsAt = 0;
    }
    return set;
}

ServerTran::ServerTran(ServerWorker& worker)
    : CHttpTran(&worker.m_bHttpTranFlag, worker.m_clock), m_worker(worker) {
    const std::lock_guard lock(m_worker.m_csTrans);
    m_worker.m_Trans.push_back(this);
}

ServerTran::~ServerTran() {
    const std::lock_guard lock(m_worker.m_csTrans);
    std::erase(m_worker.m_Trans, this);
}

// --- the console's side

void ServerWorker::SetConnectInfo(int nIdx, const std::string& host, std::uint32_t nPort,
                                  const std::string& user, const std::string& password) {
    m_nIdx = nIdx;
    m_bTimeKnown = false;
    const std::lock_guard lock(m_cs);
    m_Connect.szHost = host;
    m_Connect.nPort = nPort;
    m_Connect.szUser = user;
    m_Connect.szPassword = password;
    m_Connect.szBase64Auth = MakeBasicAuth(user, password);
    m_Status.Reset();
    m_Capabilities.clear();
    ForgetProgressLocked();
}

void ServerWorker::ForgetProgressLocked() {
    m_bListPublished = false;
    m_Failure = {};
    m_nNotFound = 0;
}

void ServerWorker::NoteFailure(LinkFault fault, int nStatus) {
    if (IsStopped() && fault != LinkFault::None) {
        return;
    }
    const std::lock_guard lock(m_cs);
    m_nNotFound = 0;
    m_Failure = {fault, nStatus};
}

void ServerWorker::NoteNotFound() {
    FlipCgiRoot();
    const std::lock_guard lock(m_cs);
    if (++m_nNotFound > 1) {
        m_Failure = {LinkFault::NotFound, 404};
    }
}

LinkFailure ServerWorker::GetFailure() const {
    const std::lock_guard lock(m_cs);
    return m_Failure;
}

void ServerWorker::SetNotifyWnd(WindowHandle hWnd) {
    const std::lock_guard lock(m_cs);
    m_hNotifyWnd = std::move(hWnd);
}

ConnectInfo ServerWorker::GetConnectInfo() const {
    const std::lock_guard lock(m_cs);
    return m_Connect;
}

std::string ServerWorker::CgiRoot() const {
    const std::lock_guard lock(m_cs);
    return m_bCgiRootEmpty ? "" : "/cgi-bin";
}

void ServerWorker::FlipCgiRoot() {
    const std::lock_guard lock(m_cs);
    m_bCgiRootEmpty = !m_bCgiRootEmpty;
}

void ServerWorker::PrepareStart() {
    m_bHttpTranFlag = 0;
    m_bRoundGood = false;
    m_hExitEvent.Reset();
    m_hRefreshEvent.Reset();
    m_hCapabilityEvent.Reset();
    m_nRetryAt = 0;
    const std::lock_guard lock(m_cs);
    m_Status.Reset();
    ForgetProgressLocked();
}

void ServerWorker::RequestStop() {
    m_hExitEvent.Set();
    m_hRefreshEvent.Set();
    AbortTransactions();
}

void ServerWorker::AbortTransactions() {
    m_bHttpTranFlag = 1;
    ShutdownConnections();
}

void ServerWorker::ShutdownConnections() {
    const std::lock_guard lock(m_csTrans);
    for (CHttpTran* const tran : m_Trans) {
        tran->Shutdown();
    }
}

void ServerWorker::TakeOver(ServerWorker& other) {
    const std::scoped_lock lock(m_cs, other.m_cs);
    m_hNotifyWnd = std::exchange(other.m_hNotifyWnd, WindowHandle());
    m_Connect = other.m_Connect;
    m_Status = other.m_Status;
    m_bCgiRootEmpty = other.m_bCgiRootEmpty;
    m_bListPublished = other.m_bListPublished;
    m_Failure = other.m_Failure;
    m_Capabilities = other.m_Capabilities;
    m_nIdx = other.m_nIdx.load();
    m_dwErrorCount = other.m_dwErrorCount.load();
    m_bNoRightReported = other.m_bNoRightReported.load();
    m_bStopSilently = other.m_bStopSilently.load();
    m_bRoundGood = other.m_bRoundGood.load();
    m_nTimeOffset = other.m_nTimeOffset.load();
    m_bTimeKnown = other.m_bTimeKnown.load();
    m_bHttpTranFlag = other.m_bHttpTranFlag.load();
    m_nGetMode = other.m_nGetMode;
    m_bBasicOnly = other.m_bBasicOnly;
}

void ServerWorker::PostLocked(std::uint32_t nMessage, std::uint32_t nCode) {
    m_hNotifyWnd.Post(nMessage, nCode, m_nIdx);
}

void ServerWorker::PostToConsole(std::uint32_t nMessage, std::uint32_t nCode) {
    const std::lock_guard lock(m_cs);
    PostLocked(nMessage, nCode);
}

void ServerWorker::PostFailure(std::uint32_t nCode) {
    if (!IsStopped()) {
        PostToConsole(WM_GETVSINFO_FAILED, nCode);
    }
}

// --- the thread

bool ServerWorker::GetControlAuth(CNvrStatus& status, std::uint32_t*) {
    for (CVideoSetting& setting : status.m_VideoSettingList) {
        setting.SetStatus(kStatusControlRight, 1);
        setting.SetStatus(kStatusAdminRight, 1);
    }
    return true;
}

bool ServerWorker::GetAdministrators(CNvrStatus& status, std::uint32_t* pdwErrorCode) {
    return GetControlAuth(status, pdwErrorCode);
}

struct ServerWorker::Round {
    CNvrStatus status;
    std::uint32_t dwErrorCode = 0;
    int nAuthRetry = 0;
    bool bFirst = true;
};

void ServerWorker::ReportAuthFailure(Round& round) {
    Trace("CKelvaraInfo::GetKelvaraInfoFunc: GetNvrVsConcInfo auth failed, m_nIdx=%d, m_dwErrorCount=%d...\n",
          m_nIdx.load(), static_cast<int>(m_dwErrorCount));
    if (IsStopped()) {
        return;
    }
    if (round.bFirst && round.nAuthRetry != kSilentAuthRounds) {
        ++round.nAuthRetry;
        return;
    }
    PostToConsole(WM_GETVSINFO_FAILED, kFailedAuthorization);
}

void ServerWorker::RunQueries(Round& round) {
    const auto traceFailure = [&](const char* name) {
        Trace(
            "CKelvaraInfo::GetKelvaraInfoFunc: %s failed, m_nIdx=%d, m_dwErrorCount=%d, "
            "dwErrorCode=%d...\n",
            name, m_nIdx.load(), static_cast<int>(m_dwErrorCount), static_cast<int>(round.dwErrorCode));
    };
    const bool bListRead = GetNvrVsConcInfo(round.status, &round.dwErrorCode);
    if (!bListRead) {
        m_bRoundGood = false;
        if (round.dwErrorCode == static_cast<std::uint32_t>(ConcInfoError::Unauthorized)) {
            ReportAuthFailure(round);
            return;
        }
        traceFailure("GetNvrVsConcInfo");  // the disk is read all the same
    }
    if (!GetNvrDiskInfo(round.status, &round.dwErrorCode)) {
        m_bRoundGood = false;
        traceFailure("GetNvrDiskInfo");
        PostFailure(kFailedDiskInfo);
        return;
    }
    m_bRoundGood = bListRead;
    struct Step {
        const char* name;
        bool (ServerWorker::*query)(CNvrStatus&, std::uint32_t*);
        std::uint32_t code;
        bool firstServerOnly;
    };
    constexpr Step kSteps[] = {
        {"GetExtInfo", &ServerWorker::GetExtInfo, kFailedExtInfo, false},
        {"GetControlAuth", &ServerWorker::GetControlAuth, kFailedControlAuth, true},
        {"GetAdministrators", &ServerWorker::GetAdministrators, kFailedAdministrators, true},
    };
    for (const Step& step : kSteps) {
        if (!m_bBasicOnly && !(this->*step.query)(round.status, &round.dwErrorCode)) {
            traceFailure(step.name);
            if (!step.firstServerOnly || m_nIdx == 0) {
                PostFailure(step.code);
            }
        }
    }
    ApplyCapabilities(round.status);
    if (UpdateServerInfo(round.status)) {
        m_dwErrorCount = 0;
        round.bFirst = false;
    }
}

// True if the thread goes on.
bool ServerWorker::WaitAfterRound(Round& round) {
    const auto retry = [&](const auto& count) {
        return !WaitRetry(m_clock, m_hExitEvent, m_bHttpTranFlag, count, &m_nRetryAt);
    };
    switch (m_nGetMode) {
        case 0:
            GetNotifyInfo(round.status);
            return retry(m_dwErrorCount);
        case 1: {
            if (round.bFirst) {
                return retry(m_dwErrorCount);
            }
            Event* const refresh = &m_hRefreshEvent;
            m_clock.WaitAny(std::span(&refresh, 1), std::nullopt);
            return retry(std::atomic<std::uint32_t>(0));
        }
        case 2:
            return retry(std::atomic<std::uint32_t>(kFixedRetryCount));
        default:
            return retry(m_dwErrorCount);
    }
}

void ServerWorker::GetKelvaraInfoFunc() {
    Round round;
    do {
        if (m_nGetMode == 1 && !round.bFirst) {
            continue;
        }
        if (m_bHttpTranFlag == 1) {
            m_bHttpTranFlag = 0;
            Trace("CKelvaraInfo::GetKelvaraInfoFunc: m_nIdx=%d, m_bHttpTranFlag==TRUE\n", m_nIdx.load());
            // A stop sets the event first: its flag must not be lost.
            if (m_hExitEvent.IsSet()) {
                m_bHttpTranFlag = 1;
            }
        }
        RunQueries(round);
    } while (WaitAfterRound(round));
}

// --- the thread beside it

void ServerWorker::GetCapabilitiesFunc() {
    Event* const events[] = {&m_hExitEvent, &m_hCapabilityEvent};
    while (m_clock.WaitAny(events, std::nullopt) == 1) {
        m_hCapabilityEvent.Reset();
        ReadCapabilities();
    }
}

void ServerWorker::ReadCapabilities() {
    using Query = bool (CapabilityReader::*)(CNvrStatus&);
    CNvrStatus status = WithStatus([](const CNvrStatus& published) { return published; });
    CapabilityReader reader(*this);
    for (const Query query : {&CapabilityReader::GetStreamInfo, &CapabilityReader::GetTalking}) {
        (reader.*query)(status);
        // The documents may stand below the other root.
        if (query == &CapabilityReader::GetStreamInfo && reader.IsNotFound()) {
            (reader.*query)(status);
        }
        for (int i = 0; i < kCapabilityRetries && reader.IsUnanswered(); ++i) {
            if (m_clock.Wait(m_hExitEvent, kCapabilityPause)) {
                return;
            }
            (reader.*query)(status);
        }
    }
    PublishCapabilities(status);
}

void ServerWorker::PublishCapabilities(const CNvrStatus& status) {
    const std::lock_guard lock(m_cs);
    m_Capabilities.clear();
    for (const CVideoSetting& setting : status.m_VideoSettingList) {
        m_Capabilities.push_back(setting.Capabilities());
    }
    bool bChanged = false;
    auto& list = m_Status.m_VideoSettingList;
    for (std::size_t i = 0; i < std::min(list.size(), m_Capabilities.size()); ++i) {
        bChanged = bChanged || list[i].Capabilities() != m_Capabilities[i];
        list[i].SetCapabilities(m_Capabilities[i]);
    }
    if (bChanged) {
        PostLocked(WM_UPDATEVSINFO, WM_UPDATEVSINFO_CAPABILITIES);
    }
}

void ServerWorker::ApplyCapabilities(CNvrStatus& status) const {
    const std::lock_guard lock(m_cs);
    auto& list = status.m_VideoSettingList;
    for (std::size_t i = 0; i < std::min(list.size(), m_Capabilities.size()); ++i) {
        list[i].SetCapabilities(m_Capabilities[i]);
    }
}

}  // namespace kvmon
