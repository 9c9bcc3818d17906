// The web host: pages, script, and a process for the session of each page.
#pragma once

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "web/host/sign_in_log.h"
#include "web/host/web_access.h"
#include "web/host/web_settings.h"

class QSocketNotifier;

namespace kvmon {

// Runs in an application without windows. A session is a process of its own: popups, modal dialogs, the mouse
// and the focus are a whole application's, and what one page or recorder breaks is only its own.
class WebServer final : public QObject {
public:
    static constexpr std::size_t kMaxSessions = 16;
    // Of those that are no page yet; an address has half of them at the most.
    static constexpr std::size_t kMaxConnections = 64;

    // How many of kMaxConnections so many open files carry.
    static std::size_t PlacesFor(std::size_t fileLimit);

    // `program` is started for a session: see kSessionProgram.
    WebServer(WebHostSettings settings, std::string program);
    ~WebServer() override;

    // False, with the reason, when the address cannot be had.
    bool Listen(std::string& problem);
    // The address to open, with the token.
    std::string Url() const;
    // The same without the token: for what others read.
    std::string Origin() const;
    // Tells all sessions to end. True when all have, false after the time.
    bool EndSessions(int milliseconds);

private:
    struct Connection;
    struct Session;

    // The listening socket; -1 with the reason in `problem`.
    int Open(std::string& problem);
    void OnAccept();
    void RestFromAccepting(int error);
    std::size_t PlacesOfOne() const { return (m_maxConnections + 1) / 2; }
    void MakeRoom(const std::string& place);
    void OnReadable(Connection& connection);
    void OnWritable(Connection& connection);
    void Handle(Connection& connection, const HttpRequest& request);
    void AnswerHelp(Connection& connection, const std::string& name);
    void Answer(Connection& connection, int status, const char* type, const std::string& body,
                const std::string& headers = {});
    void StartSession(Connection& connection, const HttpRequest& request);
    void Drop(Connection& connection);
    void OnTick();
    void DropLate();
    void Reap();
    static void WakeIfStopped(Session& session);

    WebHostSettings m_settings;
    const std::string m_program;
    const std::size_t m_maxConnections;
    std::unique_ptr<WebAccess> m_access;
    SignInLog m_signIns{[](const kvhost::Line& line) { kvhost::Journal("kvmon").Tell(line); }};
    int m_listener = -1;
    std::unique_ptr<QSocketNotifier> m_acceptable;
    bool m_bAcceptFailed = false;                            // and was told
    std::vector<std::unique_ptr<Connection>> m_connections;  // the oldest first
    std::vector<std::unique_ptr<Session>> m_sessions;
    QTimer m_tick;
};

}  // namespace kvmon
