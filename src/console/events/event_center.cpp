#include "console/events/event_center.h"

#include <algorithm>
#include <iterator>

#include "channel/picture/captions.h"
#include "console/events/event_window.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/timers.h"
#include "console/settings/console_settings.h"
#include "console/settings/multi_server_list.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "platform/text.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

constexpr int kFetchPeriodMs = 5000;
constexpr std::uint32_t kTextMoreEvents = 6614;

}  // namespace

EventCenter::EventCenter(Desk& desk, Timers& timers, const ConsoleSettings& settings,
                         const RecorderList& recorders)
    : m_desk(desk),
      m_timers(timers),
      m_settings(settings),
      m_recorders(recorders),
      m_notifier(std::make_unique<DesktopNotifier>()) {}

EventCenter::~EventCenter() {
    // All are told to stop before the first is waited for.
    for (const auto& [server, watched] : m_logs) {
        watched.log->RequestStop();
    }
    delete m_window;
}

void EventCenter::Start() {
    m_timers.SetTimer(kTimerEvents, kFetchPeriodMs);
    OnTimer();
}

void EventCenter::Stop() {
    Rest();
    for (auto& [server, watched] : m_logs) {
        m_ending.push_back(std::move(watched.log));
    }
    m_logs.clear();
    m_events = {};
    RefreshWindow();
}

bool EventCenter::IsWanted() const {
    // One wall of a program tells of them.
    return m_settings.IsFirstWall() &&
           (m_settings.options.bEnableEventNotify || (m_window && m_window->isVisible()));
}

void EventCenter::OnTimer() {
    DropEnded();
    if (m_desk.IsClosing() || !m_desk.IsLoggedIn() || !IsWanted()) {
        Rest();
        return;
    }
    for (int server = 0; server < m_recorders.GetServerCount(); ++server) {
        Watch(server);
    }
}

// Named after the recorder; the second of two with the same name has its address added.
std::string EventCenter::SectionFor(int server, const CKelvaraInfo& info) const {
    const std::string section = KeyFromName(info.GetServerName());
    const bool bTaken = std::any_of(m_logs.begin(), m_logs.end(), [&](const auto& entry) {
        return entry.first != server && entry.second.section == section;
    });
    return bTaken ? KeyFromName(info.GetServerName() + " " + info.GetUserAtHost()) : section;
}

// A recorder has no log before its first answer, which tells its name.
void EventCenter::Watch(int server) {
    const CKelvaraInfo* const info = m_recorders.GetServer(server);
    const bool bRunning = info != nullptr && info->IsRunning();
    if (const auto found = m_logs.find(server); !bRunning && found != m_logs.end()) {
        if (found->second.log) {
            Retire(found->second);  // a login that was refused asks for nothing more
            RefreshWindow();
        }
        m_logs.erase(found);
    }
    const std::string name = bRunning ? info->GetServerName() : std::string();
    if (name.empty()) {
        return;
    }
    Watched& watched = m_logs[server];
    const std::string address = info->GetUserAtHost();
    if (watched.log && watched.address != address) {
        Retire(watched);
    }
    if (!watched.log) {
        watched.section = SectionFor(server, *info);
        watched.address = address;
        watched.log = std::make_unique<CGetNVREventLog>(Registry());
        watched.log->SetThreadArg(server, watched.section, info->GetHost(), info->GetPort(), info->GetUser(),
                                  info->GetPassword(), m_desk.Handle());
        watched.log->LoadEvents();
        CNvrEventList stored;
        if (watched.log->GetEvents(stored) > 0) {
            m_events.Update(watched.section, stored);
            RefreshWindow();
        }
    }
    // One that is still ending is started again with a later timer, and so is one that the system had no
    // thread for.
    if (watched.log->IsEnded()) {
        watched.log->StartWork();
        watched.bRunning = true;
    } else if (watched.bRunning && !watched.log->IsFetching()) {
        watched.log->DoNow();
    }
}

void EventCenter::Retire(Watched& watched) {
    watched.log->RequestStop();
    m_ending.push_back(std::move(watched.log));
    m_events.Remove(watched.section);
    watched.bRunning = false;
}

void EventCenter::OnServersChanged() {
    while (!m_logs.empty() && m_logs.rbegin()->first >= m_recorders.GetServerCount()) {
        if (Watched& last = m_logs.rbegin()->second; last.log) {
            Retire(last);
        }
        m_logs.erase(std::prev(m_logs.end()));
    }
    OnTimer();
    RefreshWindow();
}

void EventCenter::Rest() {
    for (auto& [server, watched] : m_logs) {
        if (watched.bRunning) {
            watched.log->RequestStop();
            watched.bRunning = false;
        }
    }
}

void EventCenter::DropEnded() {
    std::erase_if(m_ending, [](const auto& log) { return log->IsEnded(); });
}

void EventCenter::OnGetEvents(WParam code, int server) {
    const auto found = m_logs.find(server);
    if (code != 0 || found == m_logs.end() || !found->second.log) {
        return;
    }
    CNvrEventList list;
    found->second.log->GetEvents(list);
    const std::size_t before = m_events.All().size();
    const CNvrEventList fresh = m_events.Update(found->second.section, list);
    if (fresh.empty() && before == m_events.All().size()) {
        return;
    }
    RefreshWindow();
    if (m_settings.options.bEnableEventNotify) {
        Tell(fresh);
    }
}

// One message for all that came together, about the gravest and newest of them.
void EventCenter::Tell(const CNvrEventList& fresh) {
    const CNvrEvent* worst = nullptr;
    std::size_t count = 0;
    for (const CNvrEvent& event : fresh) {
        if (IsAlarmLevel(event.m_nLevel)) {
            ++count;
            worst = worst == nullptr || event.m_nLevel > worst->m_nLevel ? &event : worst;
        }
    }
    if (worst == nullptr) {
        return;
    }
    const std::string title =
        LoadString(LevelTextId(worst->m_nLevel)) + " - " + DisplayLine(worst->m_strServer);
    QString text = QString::fromStdString(DisplayLine(worst->m_strContent));
    if (count > 1) {
        text += "\n" + QString::fromStdString(LoadString(kTextMoreEvents)).arg(count - 1);
    }
    m_notifier->Notify(QString::fromStdString(title), text, worst->m_nLevel == kEventError);
}

void EventCenter::RefreshWindow() {
    if (m_window) {
        m_window->Refresh();
    }
}

CEventWindow* EventCenter::Window() const {
    return m_window;
}

void EventCenter::OpenWindow() {
    if (!m_window) {
        m_window = new CEventWindow(m_desk.DialogHost(), m_events);
        m_window->SetOnClear([this] {
            for (const auto& [server, watched] : m_logs) {
                watched.log->ClearEvents();
            }
            m_events.Clear();
            RefreshWindow();
        });
    }
    m_desk.BringHere(*m_window);
    m_window->Open();
    OnTimer();
}

}  // namespace kvmon
