// The recorders' event logs: who is asked, how often, and who is told.
#pragma once

#include <QtCore/QPointer>
#include <map>
#include <memory>

#include "console/events/desktop_notifier.h"
#include "console/events/event_list.h"
#include "platform/window_handle.h"
#include "server/nvr_event_log.h"

namespace kvmon {

class CEventWindow;
class CKelvaraInfo;
struct ConsoleSettings;
class Desk;
class RecorderList;
class Timers;

// Fetches every 5 seconds while the window is open or the option is on. User interface thread only.
class EventCenter {
public:
    EventCenter(Desk& desk, Timers& timers, const ConsoleSettings& settings, const RecorderList& recorders);
    // Stops all fetches; each may take half a second.
    ~EventCenter();
    EventCenter(const EventCenter&) = delete;
    EventCenter& operator=(const EventCenter&) = delete;

    // Call when the settings of a session were read: starts the timer.
    void Start();
    // The session is over.
    void Stop();
    // Timer kTimerEvents; also when the option changed.
    void OnTimer();
    // Recorders came or went, which changes the index of others.
    void OnServersChanged();
    // WM_GETNVREVENT: the code and the recorder's index.
    void OnGetEvents(WParam code, int server);
    void OpenWindow();

    const EventList& Events() const { return m_events; }
    // Null before it was opened.
    CEventWindow* Window() const;
    void SetNotifier(std::unique_ptr<DesktopNotifier> notifier) { m_notifier = std::move(notifier); }

private:
    // One recorder's log, by the key that names it.
    struct Watched {
        std::unique_ptr<CGetNVREventLog> log;
        std::string section;
        std::string address;  // whom it was told to ask
        bool bRunning = false;
    };

    bool IsWanted() const;
    void Watch(int server);
    std::string SectionFor(int server, const CKelvaraInfo& info) const;
    void Retire(Watched& watched);
    void Rest();
    void DropEnded();
    void Tell(const CNvrEventList& fresh);
    void RefreshWindow();

    Desk& m_desk;
    Timers& m_timers;
    const ConsoleSettings& m_settings;
    const RecorderList& m_recorders;
    std::map<int, Watched> m_logs;                           // by the recorder's index
    std::vector<std::unique_ptr<CGetNVREventLog>> m_ending;  // told to stop
    EventList m_events;
    std::unique_ptr<DesktopNotifier> m_notifier;
    QPointer<CEventWindow> m_window;
};

}  // namespace kvmon
