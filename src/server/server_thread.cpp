#include "server/server_thread.h"

#include "persist/log_file.h"
#include "platform/caught.h"
#include "server/documents/document_errors.h"
#include "server/http/capability_reader.h"
#include "server/http/conc_info.h"
#include "server/http/control_rights.h"
#include "server/http/disk_info.h"
#include "server/http/ext_info.h"
#include "server/notify_info.h"
#include "server/query_step.h"

namespace kvmon {

namespace {

constexpr int kSilentAuthRounds = 3;
// For the documents about abilities, when the recorder gave no answer at all.
constexpr int kCapabilityRetries = 2;
constexpr Milliseconds kCapabilityPause{5000};

using ToldFor = QueryStep::ToldFor;

// They may fail without the end of the round.
constexpr QueryStep kSteps[] = {
    {"GetExtInfo", &GetExtInfo, kFailedExtInfo, ToldFor::AllServers},
    {"GetControlAuth", &GetControlAuth, kFailedControlAuth, ToldFor::FirstServer},
    {"GetAdministrators", &GetAdministrators, kFailedAdministrators, ToldFor::FirstServer},
};

class Rounds {
public:
    explicit Rounds(ServerWorker& worker) : m_worker(worker), m_query(worker.Query()) {}

    void Run() {
        do {
            try {
                TakeUpAfterAbort();
                RunQueries();
                GetNotifyInfo(m_worker, m_status);
            } catch (...) {
                m_worker.TellCaught("GetKelvaraInfoFunc");
            }
        } while (!m_worker.WaitRetryFor(m_query.ErrorCount()));
    }

private:
    void TakeUpAfterAbort() {
        if (!m_query.IsStopped()) {
            return;
        }
        m_query.AllowTransactions();
        Trace("CKelvaraInfo::GetKelvaraInfoFunc: m_nIdx=%d, m_bHttpTranFlag==TRUE\n", m_query.GetIdx());
        // A stop sets the event first: its flag must not be lost.
        if (m_worker.ExitEvent().IsSet()) {
            m_query.AbortTransactions();
        }
    }

    void ReportAuthFailure() {
        Trace(
            "CKelvaraInfo::GetKelvaraInfoFunc: GetNvrVsConcInfo auth failed, m_nIdx=%d, "
            "m_dwErrorCount=%d...\n",
            m_query.GetIdx(), static_cast<int>(m_query.ErrorCount()));
        if (m_query.IsStopped()) {
            return;
        }
        if (m_bFirst && m_nAuthRetry != kSilentAuthRounds) {
            ++m_nAuthRetry;
            return;
        }
        m_worker.PostToConsole(WM_GETVSINFO_FAILED, kFailedAuthorization);
    }

    void TraceFailure(const char* name) const {
        Trace(
            "CKelvaraInfo::GetKelvaraInfoFunc: %s failed, m_nIdx=%d, m_dwErrorCount=%d, "
            "dwErrorCode=%d...\n",
            name, m_query.GetIdx(), static_cast<int>(m_query.ErrorCount()), static_cast<int>(m_dwErrorCode));
    }

    void RunQueries() {
        const bool bListRead = GetNvrVsConcInfo(m_query, m_status, &m_dwErrorCode);
        if (!bListRead) {
            m_worker.SetRoundGood(false);
            if (m_dwErrorCode == static_cast<std::uint32_t>(ConcInfoError::Unauthorized)) {
                ReportAuthFailure();
                return;
            }
            TraceFailure("GetNvrVsConcInfo");  // the disk is read all the same
        }
        if (!GetNvrDiskInfo(m_query, m_status, &m_dwErrorCode)) {
            m_worker.SetRoundGood(false);
            TraceFailure("GetNvrDiskInfo");
            m_worker.PostFailure(kFailedDiskInfo);
            return;
        }
        m_worker.SetRoundGood(bListRead);
        for (const QueryStep& step : kSteps) {
            if (!step.query(m_query, m_status, &m_dwErrorCode)) {
                TraceFailure(step.name);
                step.TellFailure(m_worker);
            }
        }
        m_worker.ApplyCapabilities(m_status);
        if (m_worker.UpdateServerInfo(m_status)) {
            m_query.SetErrorCount(0);
            m_bFirst = false;
        } else if (bListRead) {
            // Whatever happened since the round before: the streams may be other ones though the list is not.
            m_worker.CapabilityEvent().Set();
        }
    }

    ServerWorker& m_worker;
    QueryContext& m_query;
    CNvrStatus m_status;
    std::uint32_t m_dwErrorCode = 0;
    int m_nAuthRetry = 0;
    bool m_bFirst = true;
};

void ReadCapabilities(ServerWorker& worker) {
    using Query = bool (CapabilityReader::*)(CNvrStatus&);
    CNvrStatus status = worker.WithStatus([](const CNvrStatus& published) { return published; });
    CapabilityReader reader(worker.Query());
    for (const Query query : {&CapabilityReader::GetStreamInfo, &CapabilityReader::GetTalking}) {
        (reader.*query)(status);
        // The documents may stand below the other root.
        if (query == &CapabilityReader::GetStreamInfo && reader.IsNotFound()) {
            (reader.*query)(status);
        }
        for (int i = 0; i < kCapabilityRetries && reader.IsUnanswered(); ++i) {
            if (worker.Query().GetClock().Wait(worker.ExitEvent(), kCapabilityPause)) {
                return;
            }
            (reader.*query)(status);
        }
    }
    worker.PublishCapabilities(status);
}

}  // namespace

void GetKelvaraInfoFunc(ServerWorker& worker) {
    Rounds(worker).Run();
}

void GetCapabilitiesFunc(ServerWorker& worker) {
    Event* const events[] = {&worker.ExitEvent(), &worker.CapabilityEvent()};
    while (worker.Query().GetClock().WaitAny(events, std::nullopt) == 1) {
        worker.CapabilityEvent().Reset();
        if (TryStep("CKelvaraInfo::GetCapabilitiesFunc", [&] { ReadCapabilities(worker); })) {
            continue;
        }
        if (worker.Query().GetClock().Wait(worker.ExitEvent(), kCapabilityPause)) {
            return;
        }
        worker.CapabilityEvent().Set();
    }
}

}  // namespace kvmon
