#include "server/server_worker.h"

#include <algorithm>
#include <utility>

#include "persist/log_file.h"
#include "server/documents/status_merge.h"
#include "server/http/server_requests.h"
#include "server/wait_retry.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kRights = kStatusMonitorRight | kStatusControlRight | kStatusAdminRight;
constexpr std::uint32_t kRecordingStates = kStatusConnected | kStatusRecording | kStatusEvent |
                                           kStatusMotion | kStatusSignalLoss | kStatusInput | kStatusAlarm |
                                           kStatusManual;
// With this many failures behind it, a good round publishes the list anew, which clears the count.
constexpr std::uint32_t kManyErrors = 11;

}  // namespace

void ServerWorker::SetConnectInfo(int nIdx, const std::string& host, std::uint32_t nPort,
                                  const std::string& user, const std::string& password) {
    m_query.SetConnectInfo(nIdx, host, nPort, user, password);
    m_bTimeKnown = false;
    const std::lock_guard lock(m_cs);
    m_Status.Reset();
    m_Capabilities.clear();
    m_bListPublished = false;
}

void ServerWorker::SetNotifyWnd(WindowHandle hWnd) {
    const std::lock_guard lock(m_cs);
    m_hNotifyWnd = std::move(hWnd);
}

void ServerWorker::PrepareStart() {
    m_query.PrepareStart();
    m_bRoundGood = false;
    m_hExitEvent.Reset();
    m_hCapabilityEvent.Reset();
    m_nRetryAt = 0;
    const std::lock_guard lock(m_cs);
    m_Status.Reset();
    m_bListPublished = false;
}

void ServerWorker::RequestStop() {
    m_hExitEvent.Set();
    m_query.AbortTransactions();
}

void ServerWorker::TakeOver(ServerWorker& other) {
    m_query.TakeOver(other.m_query);
    const std::scoped_lock lock(m_cs, other.m_cs);
    m_hNotifyWnd = std::exchange(other.m_hNotifyWnd, WindowHandle());
    m_Status = other.m_Status;
    m_bListPublished = other.m_bListPublished;
    m_Capabilities = other.m_Capabilities;
    m_bNoRightReported = other.m_bNoRightReported.load();
    m_bRoundGood = other.m_bRoundGood.load();
    m_nTimeOffset = other.m_nTimeOffset.load();
    m_bTimeKnown = other.m_bTimeKnown.load();
}

bool ServerWorker::WaitRetryFor(const std::atomic<std::uint32_t>& nErrorCount) {
    return WaitRetry(m_query.GetClock(), m_hExitEvent, m_query.StopFlag(), nErrorCount, &m_nRetryAt);
}

void ServerWorker::PostLocked(std::uint32_t nMessage, std::uint32_t nCode) {
    m_hNotifyWnd.Post(nMessage, nCode, m_query.GetIdx());
}

void ServerWorker::PostToConsole(std::uint32_t nMessage, std::uint32_t nCode) {
    const std::lock_guard lock(m_cs);
    PostLocked(nMessage, nCode);
}

void ServerWorker::PostFailure(std::uint32_t nCode) {
    if (!m_query.IsStopped()) {
        PostToConsole(WM_GETVSINFO_FAILED, nCode);
    }
}

void ServerWorker::TellCaught(const char* lpszFunction) noexcept {
    const Caught caught = TakeCaught();
    Trace("CKelvaraInfo::%s: m_nIdx=%d, an exception: %s...\n", lpszFunction, m_query.GetIdx(),
          caught.what.data());
    m_bRoundGood = false;
    m_query.NoteFailure(FaultOf(caught.fault));
    // The console counts it, and the pause before the next try grows with the count.
    TryStep("CKelvaraInfo::PostFailure", [this] { PostFailure(kFailedConcInfo); });
}

bool ServerWorker::GetServerTime() {
    const auto offset = ReadServerTimeOffset(m_query);
    if (offset) {
        m_nTimeOffset = *offset;
        m_bTimeKnown = true;
    }
    return offset.has_value();
}

// Nobody reads what is told of before the lock is gone. What there was no memory to tell is not taken over
// either: the next round finds and tells it.
bool ServerWorker::UpdateServerInfo(const CNvrStatus& status) {
    const std::lock_guard lock(m_cs);
    if (IdentityDiffers(status, m_Status)) {
        PostLocked(WM_UPDATEVSINFO, WM_UPDATEVSINFO_SERVERINFO);
        CopyIdentity(status, m_Status);
    }
    // A recorder without channels tells of its list, too, or the console would wait for it for ever.
    const bool bFirstList = m_bRoundGood && !m_bListPublished;
    const bool bChanged = bFirstList || ChannelListDiffers(status, m_Status) ||
                          status.m_nChannelCount != m_Status.m_nChannelCount ||
                          StatusDiffers(status, m_Status, kRights) || m_query.ErrorCount() > kManyErrors;
    if (bChanged) {
        PostLocked(WM_UPDATEVSINFO, WM_UPDATEVSINFO_CAMERACONN);
        m_bListPublished = m_bListPublished || bFirstList;
        CopyChannelList(status, m_Status);
        CopyStatus(status, m_Status, kRights | kStatusConfigured);
        m_hCapabilityEvent.Set();
    }
    if (DiskDiffers(status, m_Status)) {
        PostLocked(WM_UPDATEVSINFO, SUPPORT_HDCHART);
        CopyDisk(status, m_Status);
    }
    // The odd sense is relied on: a merge that finds nothing new still tells of the camera status, and a
    // change of the audio values alone is kept back.
    if (!StatusDiffers(status, m_Status, kRecordingStates) &&
        status.m_nServerState == m_Status.m_nServerState && AudioDiffers(status, m_Status)) {
        return bChanged;
    }
    PostLocked(WM_UPDATEVSINFO, WM_UPDATEVSINFO_CAMERASTATUS);
    CopyStatus(status, m_Status, kRecordingStates);
    CopyAudio(status, m_Status);
    m_Status.m_nServerState = status.m_nServerState;
    return bChanged;
}

void ServerWorker::PublishCapabilities(const CNvrStatus& status) {
    const std::lock_guard lock(m_cs);
    m_Capabilities.clear();
    for (const CVideoSetting& setting : status.m_VideoSettingList) {
        m_Capabilities.push_back(setting.Capabilities());
    }
    auto& list = m_Status.m_VideoSettingList;
    const std::size_t count = std::min(list.size(), m_Capabilities.size());
    bool bChanged = false;
    for (std::size_t i = 0; i < count; ++i) {
        bChanged = bChanged || list[i].Capabilities() != m_Capabilities[i];
    }
    if (bChanged) {
        PostLocked(WM_UPDATEVSINFO, WM_UPDATEVSINFO_CAPABILITIES);
    }
    for (std::size_t i = 0; i < count; ++i) {
        list[i].SetCapabilities(m_Capabilities[i]);
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
