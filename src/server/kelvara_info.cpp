#include "server/kelvara_info.h"

#include <algorithm>
#include <utility>

#include "persist/log_file.h"
#include "server/documents/server_documents.h"
#include "server/server_thread.h"
#include "server/server_worker.h"

namespace kvmon {

namespace {

constexpr Milliseconds kForcedStart{500};
constexpr Milliseconds kLongestEnd{3000};
constexpr Milliseconds kShortestEnd{100};
constexpr Milliseconds kEndRound{50};

// What the traces show for a thread and an event: whether there is one.
unsigned Handle(bool exists) {
    return exists ? 1 : 0;
}

std::string WithoutLineEnd(const std::string& text) {
    return std::string(TrimRight(text, "\r"));
}

const CVideoSetting* Channel(const CNvrStatus& status, int nCh) {
    const auto& list = status.m_VideoSettingList;
    const bool inRange = nCh >= 0 && static_cast<std::size_t>(nCh) < list.size();
    return inRange ? &list[static_cast<std::size_t>(nCh)] : nullptr;
}

bool Has(const CNvrStatus& status, int nCh, std::uint32_t mask) {
    const CVideoSetting* const setting = Channel(status, nCh);
    return setting != nullptr && setting->Status(mask) != 0;
}

}  // namespace

CKelvaraInfo::CKelvaraInfo(Clock& clock) : m_clock(clock), m_worker(std::make_shared<ServerWorker>(clock)) {}

CKelvaraInfo::~CKelvaraInfo() {
    Trace("CKelvaraInfo::~CKelvaraInfo: Enter, m_nIdx=%d, m_hGetKelvaraInfoThread=0x%x...\n", GetIdx(),
          Handle(m_hGetKelvaraInfoThread.IsHeld()));
    StopGetKelvaraInfo(StopWait::Brief);
    StopGetKelvaraInfo(StopWait::ToTheEnd);
    Trace("CKelvaraInfo::~CKelvaraInfo: Leave...\n");
}

std::shared_ptr<ServerWorker> CKelvaraInfo::Shared() const {
    const std::lock_guard lock(m_csWorker);
    return m_worker;
}

void CKelvaraInfo::SetConnectInfo(int nIdx, const std::string& host, std::uint32_t nPort,
                                  const std::string& user, const std::string& password) {
    Shared()->SetConnectInfo(nIdx, host, nPort, user, password);
}

// The thread's end is waited for in real time, whatever clock it runs on.
bool CKelvaraInfo::WaitForEnd(Milliseconds limit) {
    const auto worker = Shared();
    for (Milliseconds left = limit; left > Milliseconds(0); left -= kEndRound) {
        const Milliseconds round = std::min(left, kEndRound);
        if (m_hGetKelvaraInfoThread.Wait(round) && m_hCapabilityThread.Wait(round)) {
            return true;
        }
        // A connection may have begun after the request.
        worker->Query().ShutdownConnections();
    }
    return false;
}

void CKelvaraInfo::AbandonThread(const char* method) {
    Trace("CKelvaraInfo::%s: TerminateThread, m_nIdx=%d...\n", method, GetIdx());
    m_hGetKelvaraInfoThread.Abandon();
    m_hCapabilityThread.Abandon();
    // The thread keeps the old state, which tells nobody anything more.
    const auto fresh = std::make_shared<ServerWorker>(m_clock);
    fresh->TakeOver(*Shared());
    const std::lock_guard lock(m_csWorker);
    m_worker = fresh;
}

void CKelvaraInfo::StartGetKelvaraInfo(StartMode mode) {
    Trace("CKelvaraInfo::StartGetKelvaraInfo: Enter, m_nIdx=%d...\n", GetIdx());
    m_bStarted = true;
    if (m_hGetKelvaraInfoThread.IsHeld()) {
        if (mode == StartMode::Anew) {
            Shared()->RequestStop();
            if (!WaitForEnd(kForcedStart)) {
                AbandonThread("StartGetKelvaraInfo");
            }
        } else if (!m_hGetKelvaraInfoThread.Wait(Milliseconds(0))) {
            Shared()->Query().AbortTransactions();
            return;
        }
    }
    Trace("CKelvaraInfo::StartGetKelvaraInfo: m_hExitEvent=0x%x...\n", Handle(true));
    Shared()->PrepareStart();
    StartThreads();
    Trace("CKelvaraInfo::StartGetKelvaraInfo: AfxBeginThread, m_nIdx=%d, m_hGetKelvaraInfoThread=0x%x....\n",
          GetIdx(), Handle(m_hGetKelvaraInfoThread.IsHeld()));
}

// Each that does not run.
void CKelvaraInfo::StartThreads() {
    const auto worker = Shared();
    if (m_hGetKelvaraInfoThread.Wait(Milliseconds(0)) &&
        !m_hGetKelvaraInfoThread.Start("server", [worker] { GetKelvaraInfoFunc(*worker); })) {
        worker->SetRoundGood(false);
        worker->Query().NoteFailure(LinkFault::NoThread);
        worker->PostFailure(kFailedConcInfo);
    }
    if (m_hCapabilityThread.Wait(Milliseconds(0))) {
        m_hCapabilityThread.Start("server-abilities", [worker] { GetCapabilitiesFunc(*worker); });
    }
}

void CKelvaraInfo::KeepThreads() {
    const bool bMissing =
        m_bStarted && (!m_hGetKelvaraInfoThread.IsRunning() || !m_hCapabilityThread.IsRunning());
    if (m_restart.IsDue(bMissing, m_clock.TickMs())) {
        StartThreads();
    }
}

void CKelvaraInfo::StartGetKelvaraInfo(int nIdx, const std::string& host, std::uint32_t nPort,
                                       const std::string& user, const std::string& password, StartMode mode) {
    SetConnectInfo(nIdx, host, nPort, user, password);
    StartGetKelvaraInfo(mode);
}

bool CKelvaraInfo::StopGetKelvaraInfo(StopWait wait) {
    Trace("CKelvaraInfo::StopGetKelvaraInfo: Enter, m_nIdx=%d, m_hGetKelvaraInfoThread=0x%x...\n", GetIdx(),
          Handle(m_hGetKelvaraInfoThread.IsHeld()));
    m_bStarted = false;
    if (!m_hGetKelvaraInfoThread.IsHeld() && !m_hCapabilityThread.IsHeld()) {
        return true;
    }
    const auto worker = Shared();
    worker->RequestStop();
    if (WaitForEnd(wait == StopWait::ToTheEnd ? kLongestEnd : kShortestEnd)) {
        return true;
    }
    if (wait == StopWait::Brief) {
        return false;
    }
    AbandonThread("StopGetKelvaraInfo");
    return true;
}

void CKelvaraInfo::SetNotifyWnd(WindowHandle hWnd) {
    Shared()->SetNotifyWnd(std::move(hWnd));
}

bool CKelvaraInfo::IsRunning() const {
    return m_bStarted || m_hGetKelvaraInfoThread.IsRunning();
}

int CKelvaraInfo::GetIdx() const {
    return Shared()->Query().GetIdx();
}

void CKelvaraInfo::SetIdx(int nIdx) {
    Shared()->Query().SetIdx(nIdx);
}

std::string CKelvaraInfo::GetHost() const {
    return Shared()->Query().GetConnectInfo().szHost.Str();
}

std::uint32_t CKelvaraInfo::GetPort() const {
    return Shared()->Query().GetConnectInfo().nPort;
}

std::string CKelvaraInfo::GetUser() const {
    return Shared()->Query().GetConnectInfo().szUser.Str();
}

std::string CKelvaraInfo::GetPassword() const {
    return Shared()->Query().GetConnectInfo().szPassword.Str();
}

std::string CKelvaraInfo::GetUserAtHost() const {
    const ConnectInfo connect = Shared()->Query().GetConnectInfo();
    return FormatText("%s@%s:%u", connect.szUser.c_str(), connect.szHost.c_str(), connect.nPort);
}

std::string CKelvaraInfo::GetServerName() const {
    return Shared()->WithStatus(
        [](const CNvrStatus& status) { return WithoutLineEnd(status.m_strServerName); });
}

bool CKelvaraInfo::IsOwnRecorder() const {
    return Shared()->WithStatus([](const CNvrStatus& status) { return status.bOwnRecorder; });
}

void CKelvaraInfo::SetServerName(const std::string& name) {
    Shared()->ChangeStatus([&](CNvrStatus& status) { status.m_strServerName = name; });
}

std::string CKelvaraInfo::GetServerNameAndVersion() const {
    return Shared()->WithStatus([](const CNvrStatus& status) {
        return FormatText("%s(%s)", WithoutLineEnd(status.m_strServerName).c_str(),
                          WithoutLineEnd(status.strServerVersion).c_str());
    });
}

void CKelvaraInfo::GetDiskInfo(int* pnStatus, int* pnUsed, std::string& strSize, std::string& strUnit) const {
    Shared()->WithStatus([&](const CNvrStatus& status) {
        *pnStatus = status.m_nDiskStatus;
        *pnUsed = status.m_nDiskUsed;
        strSize = status.m_strDiskSize;
        strUnit = status.m_strDiskUnit;
    });
}

bool CKelvaraInfo::GetCameraSetting(int nCh, CameraSettings* pSetting) const {
    return Shared()->WithStatus([&](const CNvrStatus& status) {
        const CVideoSetting* const setting = Channel(status, nCh);
        if (setting != nullptr) {
            *pSetting = setting->ToCameraSettings();
        }
        return setting != nullptr;
    });
}

std::vector<CameraSettings> CKelvaraInfo::GetAllCameraSettings() const {
    return Shared()->WithStatus([](const CNvrStatus& status) {
        std::vector<CameraSettings> settings;
        settings.reserve(status.m_VideoSettingList.size());
        for (const CVideoSetting& setting : status.m_VideoSettingList) {
            settings.push_back(setting.ToCameraSettings());
        }
        return settings;
    });
}

int CKelvaraInfo::GetChannelCount() const {
    return Shared()->WithStatus([](const CNvrStatus& status) { return status.m_nChannelCount; });
}

void CKelvaraInfo::SetChannelCount(int nCount) {
    Shared()->ChangeStatus([&](CNvrStatus& status) { status.m_nChannelCount = nCount; });
}

bool CKelvaraInfo::IsChannelVisible(int nCh, ShowRules rules) const {
    return Shared()->WithStatus([&](const CNvrStatus& status) {
        if (nCh < 0 || nCh >= status.m_nChannelCount) {
            return false;
        }
        if (!Has(status, nCh, kStatusConfigured)) {
            return rules.bUnconfigured;
        }
        return rules.bNoRight || Has(status, nCh, kStatusMonitorRight);
    });
}

int CKelvaraInfo::CountChannels(ShowRules rules) const {
    return Shared()->WithStatus([&](const CNvrStatus& status) {
        if (rules.bUnconfigured && rules.bNoRight) {
            return status.m_nChannelCount;
        }
        int count = 0;
        for (int i = 0; i < status.m_nChannelCount; ++i) {
            const bool configured = Has(status, i, kStatusConfigured);
            const bool right = Has(status, i, kStatusMonitorRight);
            const bool counts = rules.bUnconfigured ? !configured || right
                                : rules.bNoRight    ? configured
                                                    : configured && right;
            count += counts ? 1 : 0;
        }
        return count;
    });
}

std::string CKelvaraInfo::GetChannelName(int nCh) const {
    return Shared()->WithStatus([&](const CNvrStatus& status) {
        const CVideoSetting* const setting = Channel(status, nCh);
        return setting != nullptr ? WithoutLineEnd(setting->m_strChannelName) : std::string();
    });
}

std::uint32_t CKelvaraInfo::GetStatus(int nCh, std::uint32_t nMask) const {
    return StatusWord(GetStatusWords(nCh), nMask);
}

StatusWords CKelvaraInfo::GetStatusWords(int nCh) const {
    return Shared()->WithStatus([&](const CNvrStatus& status) {
        const CVideoSetting* const setting = Channel(status, nCh);
        return setting != nullptr ? setting->statusWords : StatusWords{};
    });
}

ChannelCapabilities CKelvaraInfo::GetCapabilities(int nCh) const {
    return Shared()->WithStatus([&](const CNvrStatus& status) {
        const CVideoSetting* const setting = Channel(status, nCh);
        return setting != nullptr ? setting->Capabilities() : ChannelCapabilities();
    });
}

std::shared_ptr<ServerCamera> CKelvaraInfo::GetCamera(int nCh) const {
    const std::lock_guard lock(m_csCameras);
    const bool inRange = nCh >= 0 && static_cast<std::size_t>(nCh) < m_Cameras.size();
    return inRange ? m_Cameras[static_cast<std::size_t>(nCh)] : nullptr;
}

bool CKelvaraInfo::SetCamera(int nCh, std::shared_ptr<ServerCamera> pCamera) {
    std::shared_ptr<ServerCamera> replaced;  // destroyed outside the lock
    const std::lock_guard lock(m_csCameras);
    if (nCh < 0 || static_cast<std::size_t>(nCh) >= m_Cameras.size()) {
        return false;
    }
    replaced = std::exchange(m_Cameras[static_cast<std::size_t>(nCh)], std::move(pCamera));
    return true;
}

int CKelvaraInfo::GetCameraCount() const {
    const std::lock_guard lock(m_csCameras);
    return static_cast<int>(m_Cameras.size());
}

void CKelvaraInfo::SetCameraCount(int nCount) {
    const auto count = static_cast<std::size_t>(std::clamp(nCount, 0, kMaxChannels));
    std::vector<std::shared_ptr<ServerCamera>> dropped;  // destroyed outside the lock
    const std::lock_guard lock(m_csCameras);
    while (m_Cameras.size() > count) {
        dropped.push_back(std::move(m_Cameras.back()));
        m_Cameras.pop_back();
    }
    m_Cameras.resize(count);
}

std::uint32_t CKelvaraInfo::GetErrorCount() const {
    return Shared()->Query().ErrorCount();
}

bool CKelvaraInfo::IsConnected() const {
    return IsRunning() && Shared()->IsRoundGood();
}

std::uint32_t CKelvaraInfo::GetRetrySeconds() const {
    const std::uint64_t endsAt = std::max<std::uint64_t>(Shared()->RetryAt(), m_restart.DueAt());
    const std::uint64_t now = m_clock.TickMs();
    return endsAt > now ? static_cast<std::uint32_t>((endsAt - now + 999) / 1000) : 0;
}

LinkFailure CKelvaraInfo::GetFailure() const {
    return Shared()->Query().GetFailure();
}

void CKelvaraInfo::RaiseErrorCount() {
    Shared()->Query().RaiseErrorCount();
}

bool CKelvaraInfo::IsNoRightReported() const {
    return Shared()->IsNoRightReported();
}

void CKelvaraInfo::SetNoRightReported(bool bReported) {
    Shared()->SetNoRightReported(bReported);
}

std::function<bool()> CKelvaraInfo::ServerTimeTask() const {
    return [worker = Shared()] { return worker->GetServerTime(); };
}

bool CKelvaraInfo::IsServerTimeKnown() const {
    return Shared()->IsTimeKnown();
}

std::int64_t CKelvaraInfo::GetServerTimeOffset() const {
    return Shared()->TimeOffset();
}

}  // namespace kvmon
