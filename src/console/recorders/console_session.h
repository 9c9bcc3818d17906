// Login and logout as the console carries them out.
#pragma once

#include <memory>
#include <string>

#include "console/recorders/sign_in_desk.h"
#include "persist/utilities.h"
#include "platform/worker.h"

namespace kvmon {

class CameraList;
class CellPool;
class ClientSite;
class Commands;
struct ConsoleSettings;
class Desk;
class RecorderList;
class ServerBinding;
class SessionEvents;
class Timers;
class ViewController;

// For how long the end of a session is watched, by one tick a second.
class StopWatch {
public:
    void Reset() { m_nTicks = 0; }
    // True when all have stopped, or with the 31st tick.
    bool Tick(bool bAllStopped) { return ++m_nTicks > kMaxTicks || bAllStopped; }

private:
    static constexpr int kMaxTicks = 30;
    int m_nTicks = 0;
};

class ConsoleSession final : private SessionLogin {
public:
    ConsoleSession(Desk& desk, Timers& timers, Commands& commands, SessionEvents& sessionEvents,
                   ClientSite& site, const ConsoleSettings& settings, ViewController& view, CellPool& cells,
                   CameraList& cameras, ServerBinding& binding, RecorderList& recorders)
        : m_desk(desk),
          m_timers(timers),
          m_commands(commands),
          m_sessionEvents(sessionEvents),
          m_site(site),
          m_settings(settings),
          m_view(view),
          m_cells(cells),
          m_cameras(cameras),
          m_binding(binding),
          m_recorders(recorders),
          m_signIn(desk, site, view, settings, *this, recorders) {}
    ~ConsoleSession() override;

    // The one answer to who counts as logged in: the user who asked for it last, for as long as the first
    // server's thread works for them. Neither a thread that lingers after a logout nor one that is refused
    // changes it.
    bool IsLoggedIn() const;

    // The session of another user ends first.
    void AutoLogin(const std::string& user, const std::string& password,
                   bool bLowIntegrity = IsLowIntegrity());
    // Stops everything without waiting for it, and watches the end with kTimerStopping.
    void Logout();

    void OnLoginTimer();
    void OnStoppingTimer();

    // What stands in the wall while nobody is logged in.
    SignInDesk& SignIn() { return m_signIn; }

    // Command kCtlLogout while somebody is logged in.
    void OnBtnLogout();

private:
    void LogIn(const std::string& user, const std::string& password) override { AutoLogin(user, password); }
    // Overwrites the credentials that the system's HTTP client may keep for the first server, on a thread of
    // its own.
    void CleanBrowserUserInfo();
    void OpenTraceFile(const std::string& host, std::uint32_t port);
    void EndSession();
    void CloseDialogs();
    void StopServer(int server);

    Desk& m_desk;
    Timers& m_timers;
    Commands& m_commands;
    SessionEvents& m_sessionEvents;
    ClientSite& m_site;
    const ConsoleSettings& m_settings;
    ViewController& m_view;
    CellPool& m_cells;
    CameraList& m_cameras;
    ServerBinding& m_binding;
    RecorderList& m_recorders;
    bool m_bLoggedIn = false;
    SignInDesk m_signIn;
    StopWatch m_stopWatch;
    Worker m_cleaner;
    std::shared_ptr<FlagWord> m_bCleanerAbort = std::make_shared<FlagWord>(0);
};

}  // namespace kvmon
