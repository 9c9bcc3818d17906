// get_log_info.cgi, and the list that grows from it.
#include "server/nvr_event_log.h"

#include <array>
#include <mutex>
#include <vector>

#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "platform/caught.h"
#include "platform/outside_text.h"
#include "platform/secret_memory.h"
#include "server/documents/server_documents.h"
#include "server/http/http_tran.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kConnectMs = 3000;
constexpr std::uint32_t kReadMs = 30000;
constexpr Milliseconds kRetryPause{3000};
constexpr Milliseconds kShortStop{500};
constexpr Milliseconds kLongStop{5000};
constexpr Milliseconds kStopRound{50};
constexpr std::size_t kLineBytes = 4096;
// A document that does not end is taken as one that ends here.
constexpr std::size_t kMaxDocument = 4u << 20;
constexpr std::size_t kMaxHeader = 65536;
constexpr std::uint32_t kMarginSeconds = 6;
constexpr std::uint32_t kFreshMs = 5000;
constexpr std::uint32_t kNoLevel = 0xFFFFFFFF;

std::uint32_t Tick(Clock& clock) {
    return static_cast<std::uint32_t>(clock.TickMs());
}

std::string LogSection(const std::string& section) {
    return section + "\\EventLog";
}

std::string EntrySection(const std::string& section, std::size_t index) {
    return FormatText("%s\\%03d", LogSection(section).c_str(), static_cast<int>(index));
}

}  // namespace

std::uint32_t EventLogSeconds(std::uint32_t dwThisTick, std::uint32_t dwLastTick) {
    if (dwLastTick == 0) {
        return kMarginSeconds;
    }
    if (dwThisTick > dwLastTick) {
        return (dwThisTick - dwLastTick) / 1000 + kMarginSeconds + kMarginSeconds;
    }
    return (dwThisTick + ~dwLastTick) / 1000 + kMarginSeconds;  // the counter wrapped
}

// --- the thread

struct CGetNVREventLog::Shared {
    explicit Shared(Clock& theClock) : clock(theClock) {}

    void GetNVREventLogFunc();
    bool Fetch();
    bool ReadLog(CHttpTran& tran, EventLogParser& parser);
    bool SkipHeader(CHttpTran& tran, std::vector<char>& line);
    bool ReadLine(CHttpTran& tran, std::vector<char>& line, std::size_t* pnLength);
    void RequestStop();
    void Shutdown();

    Clock& clock;
    // Set before the thread's start only.
    BoundedText<64> szHost, szUser;
    SecretText<64> szPassword;
    SecretText<256> szBase64Auth;
    int nIdx = 0;
    std::string strRegSection;
    std::uint32_t nPort = 80;
    WindowHandle hNotifyWnd;

    Event hDoEvent;
    std::atomic<bool> bFetching{true};
    FlagWord bStop{0};
    std::uint32_t dwLastTick = 0;  // 0: never fetched. The thread's alone, as the next one
    std::uint32_t dwThisTick = 0;

    std::mutex csTran;
    CHttpTran* pTran = nullptr;  // guarded by csTran
    // Puts a transaction in reach of Shutdown for as long as this object lives.
    struct InReach {
        InReach(Shared& theOwner, CHttpTran* tran) : owner(theOwner) { Set(tran); }
        ~InReach() { Set(nullptr); }
        InReach(const InReach&) = delete;
        InReach& operator=(const InReach&) = delete;
        void Set(CHttpTran* tran) {
            const std::lock_guard lock(owner.csTran);
            owner.pTran = tran;
        }
        Shared& owner;
    };

    mutable std::mutex cs;
    CNvrEventList list;  // guarded by cs
};

void CGetNVREventLog::Shared::RequestStop() {
    bStop = 1;
    hDoEvent.Set();
    Shutdown();
}

void CGetNVREventLog::Shared::Shutdown() {
    const std::lock_guard lock(csTran);
    if (pTran != nullptr) {
        pTran->Shutdown();
    }
}

bool CGetNVREventLog::Shared::ReadLine(CHttpTran& tran, std::vector<char>& line, std::size_t* pnLength) {
    std::uint32_t dwTimeout = kReadMs;
    *pnLength = line.size();
    return bStop == 0 && tran.ReadLine(line.data(), pnLength, &dwTimeout) && *pnLength > 0;
}

bool CGetNVREventLog::Shared::SkipHeader(CHttpTran& tran, std::vector<char>& line) {
    std::size_t nLength = 0;
    for (std::size_t nRead = 0; nRead < kMaxHeader && ReadLine(tran, line, &nLength); nRead += nLength) {
        // Some recorders end the head with a bare LF.
        if (IsBlankLine({line.data(), nLength})) {
            return true;
        }
    }
    return false;
}

// True if a reply of status 200 came; its lines, as far as they came, are with the parser then.
bool CGetNVREventLog::Shared::ReadLog(CHttpTran& tran, EventLogParser& parser) {
    std::uint32_t dwTimeout = kConnectMs;
    if (!tran.Create() || !tran.Connect(szHost.c_str(), nPort, &dwTimeout)) {
        return false;
    }
    dwTimeout = kConnectMs;
    dwThisTick = Tick(clock);
    const std::string request = FormatText(
        "GET /cgi-bin/get_log_info.cgi?sec=%d HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: %s\r\n"
        "Authorization: Basic %s\r\n\r\n",
        static_cast<int>(EventLogSeconds(dwThisTick, dwLastTick)), szHost.c_str(), szBase64Auth.c_str());
    std::vector<char> line(kLineBytes);
    std::size_t nLength = 0;
    HTTP_RESULT result;
    if (!tran.Send(request, &dwTimeout) || !ReadLine(tran, line, &nLength) ||
        !CHttpTran::ParseHttpHeader({line.data(), nLength}, &result) || result.nStatus != 200 ||
        !SkipHeader(tran, line)) {
        return false;
    }
    for (std::size_t nRead = 0; nRead < kMaxDocument && ReadLine(tran, line, &nLength); nRead += nLength) {
        parser.AddLine({line.data(), nLength});
    }
    return true;
}

bool CGetNVREventLog::Shared::Fetch() {
    CNvrEventList latest;
    {
        const std::lock_guard lock(cs);
        TakeLatestGroup(list, &latest);
    }
    EventLogParser parser(strRegSection, std::move(latest));
    {
        CHttpTran tran(&bStop, clock);
        const InReach reach(*this, &tran);
        ReadLog(tran, parser);
    }
    if (parser.GetCount() == -1) {
        return false;
    }
    const std::lock_guard lock(cs);
    MergeEvents(list, parser.TakeEvents());
    if (list.size() > kMaxEvents) {
        list.resize(kMaxEvents);
    }
    dwLastTick = dwThisTick - 1;
    return true;
}

void CGetNVREventLog::Shared::GetNVREventLogFunc() {
    Event* const wake = &hDoEvent;
    while (bStop == 0) {
        std::optional<Milliseconds> pause;
        bool bFetched = false;
        TryStep("CGetNVREventLog::GetNVREventLogFunc", [&] { bFetched = Fetch(); });
        if (bStop != 0) {
            break;  // what a stop cut short is no failure
        }
        const auto post = [&](WParam code, LParam index) {
            TryStep("CGetNVREventLog::Post", [&] { hNotifyWnd.Post(WM_GETNVREVENT, code, index); });
        };
        if (bFetched) {
            post(0, nIdx);
            Trace("CGetNVREventLog::GetNVREventLogFunc: m_nIdx=%d, WM_GETNVREVENT_SUCCESSFUL...\n", nIdx);
        } else {
            post(1, 0);
            Trace("CGetNVREventLog::GetNVREventLogFunc: WM_GETNVREVENT_FAILED...\n");
            pause = kRetryPause;
        }
        bFetching = false;
        clock.WaitAny(std::span(&wake, 1), pause);
        hDoEvent.Reset();
        bFetching = true;
    }
    Trace("CGetNVREventLog::GetNVREventLogFunc: exit thread, m_hGetThread=0x%x....\n", 1u);
}

// --- the console's side

CGetNVREventLog::CGetNVREventLog(COrvoRegistry& registry, Clock& clock)
    : m_registry(registry), m_clock(clock), m_shared(std::make_shared<Shared>(clock)) {}

CGetNVREventLog::~CGetNVREventLog() {
    EndThread("~CGetNVREventLog");
    SaveEvents();
}

void CGetNVREventLog::SetThreadArg(int nIdx, const std::string& regSection, const std::string& host,
                                   std::uint32_t nPort, const std::string& user, const std::string& password,
                                   WindowHandle hWnd) {
    m_shared->nIdx = nIdx;
    m_shared->strRegSection = regSection;
    m_shared->szHost = host;
    m_shared->nPort = nPort;
    m_shared->szUser = user;
    m_shared->szPassword = password;
    m_shared->szBase64Auth = MakeBasicAuth(user, password);
    m_shared->hNotifyWnd = std::move(hWnd);
    Trace("CGetNVREventLog::SetThreadArg: m_nIdx=%d\n", nIdx);
}

// A thread that does not end keeps what it works on; the next one gets a copy.
void CGetNVREventLog::EndThread(const char* lpszMethod) {
    if (StopWork(StopWait::Brief)) {
        return;
    }
    Trace("CGetNVREventLog::%s: TerminateThread(0x%x, -8)...\n", lpszMethod, 1u);
    m_hGetThread.Abandon();
    const auto fresh = std::make_shared<Shared>(m_clock);
    fresh->szHost = m_shared->szHost;
    fresh->szUser = m_shared->szUser;
    fresh->szPassword = m_shared->szPassword;
    fresh->szBase64Auth = m_shared->szBase64Auth;
    fresh->nIdx = m_shared->nIdx;
    fresh->strRegSection = m_shared->strRegSection;
    fresh->nPort = m_shared->nPort;
    fresh->hNotifyWnd = m_shared->hNotifyWnd;
    GetEvents(fresh->list);
    m_shared = fresh;
}

void CGetNVREventLog::StartWork() {
    Trace("CGetNVREventLog::StartWork: Enter, m_strRegSection=%s, m_hGetThread=0x%x....\n",
          m_shared->strRegSection.c_str(), m_hGetThread.IsHeld() ? 1u : 0u);
    EndThread("StartWork");
    Trace("CGetNVREventLog::StartWork: m_hDoEvent=0x%x....\n", 1u);
    m_shared->hDoEvent.Reset();
    m_shared->bStop = 0;
    m_hGetThread.Start("kv-events", [shared = m_shared] { shared->GetNVREventLogFunc(); });
    Trace("CGetNVREventLog::StartWork: AfxBeginThread, m_strRegSection=%s, m_hGetThread=0x%x....\n",
          m_shared->strRegSection.c_str(), m_hGetThread.IsHeld() ? 1u : 0u);
}

bool CGetNVREventLog::StopWork(StopWait wait) {
    m_shared->RequestStop();
    for (Milliseconds left = wait == StopWait::ToTheEnd ? kLongStop : kShortStop; left > Milliseconds(0);
         left -= kStopRound) {
        if (m_hGetThread.Wait(kStopRound)) {
            return true;
        }
        m_shared->Shutdown();  // a connection may have begun after the request
    }
    return false;
}

void CGetNVREventLog::RequestStop() {
    m_shared->RequestStop();
}

bool CGetNVREventLog::IsEnded() {
    return m_hGetThread.Wait(Milliseconds(0));
}

bool CGetNVREventLog::IsFetching() const {
    return m_shared->bFetching;
}

void CGetNVREventLog::DoNow() {
    m_shared->hDoEvent.Set();
}

std::size_t CGetNVREventLog::GetEvents(CNvrEventList& list) const {
    const std::lock_guard lock(m_shared->cs);
    list = m_shared->list;
    return list.size();
}

void CGetNVREventLog::SetEvents(const CNvrEventList& list) {
    {
        const std::lock_guard lock(m_shared->cs);
        m_shared->list = list;
    }
    SaveEvents();
}

std::size_t CGetNVREventLog::GetEventCount() const {
    const std::lock_guard lock(m_shared->cs);
    return m_shared->list.size();
}

void CGetNVREventLog::ClearEvents() {
    const std::lock_guard lock(m_shared->cs);
    m_shared->list.clear();
}

void CGetNVREventLog::SaveEvents() {
    const std::string& section = m_shared->strRegSection;
    if (section.empty()) {
        return;
    }
    CNvrEventList list;
    GetEvents(list);
    const COrvoRegistry::Batch batch(m_registry);
    for (std::size_t i = 0; i < list.size(); ++i) {
        const std::string entry = EntrySection(section, i);
        m_registry.WriteProfileString(entry, "Time", list[i].m_strTime);
        m_registry.WriteProfileInt(entry, "Level", static_cast<std::uint32_t>(list[i].m_nLevel));
        m_registry.WriteProfileString(entry, "Content", list[i].m_strContent);
    }
    m_registry.WriteProfileInt(LogSection(section), "EventLogCount", static_cast<std::uint32_t>(list.size()));
    m_registry.WriteProfileInt(LogSection(section), "SaveTickTime", Tick(m_clock));
}

void CGetNVREventLog::LoadEvents() {
    const std::string& section = m_shared->strRegSection;
    const std::string log = LogSection(section);
    const auto nCount = std::min<std::size_t>(m_registry.GetProfileInt(log, "EventLogCount", 0), kMaxEvents);
    const std::uint32_t dwSaved = m_registry.GetProfileInt(log, "SaveTickTime", 0);
    const std::uint32_t dwNow = Tick(m_clock);
    if ((dwSaved > dwNow ? dwSaved - dwNow : dwNow - dwSaved) >= kFreshMs) {
        return;
    }
    CNvrEventList loaded;
    for (std::size_t i = 0; i < nCount; ++i) {
        const std::string entry = EntrySection(section, i);
        CNvrEvent event;
        event.m_strServer = section;
        event.m_nLevel = static_cast<std::int32_t>(m_registry.GetProfileInt(entry, "Level", kNoLevel));
        event.m_strTime = OutsideLine(m_registry.GetProfileString(entry, "Time", {}));
        event.m_strContent = OutsideLine(m_registry.GetProfileString(entry, "Content", {}));
        event.m_Time = ParseEventTime(event.m_strTime);
        if (event.m_nLevel != -1 && !event.m_strTime.empty() && !event.m_strContent.empty()) {
            loaded.push_back(std::move(event));
        }
    }
    const std::lock_guard lock(m_shared->cs);
    m_shared->list.insert(m_shared->list.end(), std::make_move_iterator(loaded.begin()),
                          std::make_move_iterator(loaded.end()));
}

}  // namespace kvmon
