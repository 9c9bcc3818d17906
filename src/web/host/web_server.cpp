#include "web/host/web_server.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QtCore/QDeadlineTimer>
#include <QtCore/QSocketNotifier>
#include <QtCore/QThread>
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>

#include "persist/help_pages.h"
#include "platform/diagnostics.h"
#include "platform/text.h"
#include "web/host/web_assets.h"

namespace kvmon {

namespace {

constexpr const char* kHelpPath = "/help/";
constexpr int kTickMs = 500;
constexpr int kReapMs = 20;       // while a process ends
constexpr int kRequestMs = 5000;  // from the first byte to the last of the answer
// How long a stopped session that was woken for it may take to end.
constexpr int kWokenMs = 500;
// Behind the places of a session's two descriptors.
constexpr int kFirstFreeFd = std::max(kSessionPageFd, kSessionOrderFd) + 1;

const char* ReasonOf(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 400:
            return "Bad Request";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 426:
            return "Upgrade Required";
        default:
            return "Service Unavailable";
    }
}

struct AddressList {
    ~AddressList() {
        if (first != nullptr) {
            ::freeaddrinfo(first);
        }
    }
    addrinfo* first = nullptr;
};

std::uint16_t PortOf(int fd) {
    sockaddr_storage address{};
    socklen_t length = sizeof(address);
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return 0;
    }
    return ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(address).sin6_port
                                               : reinterpret_cast<sockaddr_in&>(address).sin_port);
}

// "" for what is none.
std::string NumericAddress(const sockaddr_storage& address) {
    char text[NI_MAXHOST] = {};
    const socklen_t length = address.ss_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    ::getnameinfo(reinterpret_cast<const sockaddr*>(&address), length, text, sizeof(text), nullptr, 0,
                  NI_NUMERICHOST);
    return text;
}

// Whose places it takes: an address, of IPv6 the network, of which a machine has as many addresses as it
// likes.
std::string PlaceOf(const sockaddr_storage& peer) {
    constexpr std::size_t kNetworkBytes = 8;
    if (peer.ss_family == AF_INET6) {
        const auto& address = reinterpret_cast<const sockaddr_in6&>(peer).sin6_addr;
        const auto* const bytes = reinterpret_cast<const char*>(&address);
        return {bytes, IN6_IS_ADDR_V4MAPPED(&address) ? sizeof(address) : kNetworkBytes};
    }
    const auto& address = reinterpret_cast<const sockaddr_in&>(peer).sin_addr;
    return {reinterpret_cast<const char*>(&address), sizeof(address)};
}

bool IsShortOfRoom(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

bool WriteAll(int fd, const QByteArray& bytes) {
    // Small enough for the socket's buffer.
    return ::send(fd, bytes.data(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL) == bytes.size();
}

// The same socket under a number that is no place of a session's.
class FreeFd {
public:
    explicit FreeFd(int fd) : m_fd(::fcntl(fd, F_DUPFD_CLOEXEC, kFirstFreeFd)) {}
    ~FreeFd() {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    FreeFd(const FreeFd&) = delete;
    FreeFd& operator=(const FreeFd&) = delete;
    int Get() const { return m_fd; }

private:
    const int m_fd;
};

// The session's process, with the page's socket and its end of the order's socket in the places that it
// expects. -1 if it could not be started.
pid_t Spawn(const std::string& program, int pageSocket, int orderSocket) {
    const FreeFd page(pageSocket);
    const FreeFd order(orderSocket);
    if (page.Get() < 0 || order.Get() < 0) {
        return -1;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, page.Get(), kSessionPageFd);
    posix_spawn_file_actions_adddup2(&actions, order.Get(), kSessionOrderFd);
    std::string name = program;
    char* const argv[] = {name.data(), nullptr};
    pid_t pid = -1;
    const int error = ::posix_spawn(&pid, program.c_str(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : -1;
}

}  // namespace

struct WebServer::Connection {
    int fd = -1;
    std::string place;  // whose it is
    std::string peer;   // its address, as text
    std::string in;
    std::string out;
    QDeadlineTimer deadline{kRequestMs};
    std::unique_ptr<QSocketNotifier> readable;
    std::unique_ptr<QSocketNotifier> writable;

    ~Connection() {
        readable.reset();
        writable.reset();
        if (fd >= 0) {
            ::close(fd);
        }
    }
};

struct WebServer::Session {
    pid_t pid = -1;
    int order = -1;
    QDeadlineTimer woken{QDeadlineTimer::Forever};  // when one that was stopped has had its time to end
    std::unique_ptr<QSocketNotifier> ended;

    void Hangup() {
        ended.reset();
        if (order >= 0) {
            ::close(std::exchange(order, -1));
        }
    }
    ~Session() { Hangup(); }
};

WebServer::WebServer(WebHostSettings settings, std::string program)
    : m_settings(std::move(settings)),
      m_program(std::move(program)),
      m_maxConnections(PlacesFor(m_settings.fileLimit)) {
    connect(&m_tick, &QTimer::timeout, this, [this] { OnTick(); });
}

std::size_t WebServer::PlacesFor(std::size_t fileLimit) {
    // One for each session, two while one is started, and what the program has open by itself.
    constexpr std::size_t kOthers = kMaxSessions + 2 + 32;
    return std::clamp(fileLimit, kOthers + 2, kOthers + kMaxConnections) - kOthers;
}

WebServer::~WebServer() {
    m_acceptable.reset();
    if (m_listener >= 0) {
        ::close(m_listener);
    }
}

int WebServer::Open(std::string& problem) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    AddressList list;
    const std::string port = std::to_string(m_settings.port);
    if (::getaddrinfo(m_settings.address.c_str(), port.c_str(), &hints, &list.first) != 0) {
        problem = m_settings.address + " is no address";
        return -1;
    }
    const int fd = ::socket(list.first->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    if (fd < 0 || ::bind(fd, list.first->ai_addr, list.first->ai_addrlen) != 0 ||
        ::listen(fd, SOMAXCONN) != 0) {
        problem = std::strerror(errno);
        if (fd >= 0) {
            ::close(fd);
        }
        return -1;
    }
    return fd;
}

bool WebServer::Listen(std::string& problem) {
    if (m_settings.listener) {
        // Its owner has chosen where, and pages name that place.
        sockaddr_storage place{};
        socklen_t length = sizeof(place);
        ::getsockname(*m_settings.listener, reinterpret_cast<sockaddr*>(&place), &length);
        m_settings.address = NumericAddress(place);
        ::fcntl(*m_settings.listener, F_SETFL, O_NONBLOCK);
    }
    const int fd = m_settings.listener ? *m_settings.listener : Open(problem);
    if (fd < 0) {
        return false;
    }
    m_listener = fd;
    const std::string token = m_settings.token.empty() ? MakeToken() : m_settings.token;
    m_access = std::make_unique<WebAccess>(m_settings.address, PortOf(fd), m_settings.origins, token);
    m_acceptable = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
    connect(m_acceptable.get(), &QSocketNotifier::activated, this, [this] { OnAccept(); });
    m_tick.start(kTickMs);
    return true;
}

std::string WebServer::Url() const {
    return m_access->OwnOrigin() + "/?token=" + m_access->Token();
}

std::string WebServer::Origin() const {
    return m_access->OwnOrigin() + "/";
}

void WebServer::OnAccept() {
    sockaddr_storage peer{};
    socklen_t length = sizeof(peer);
    const int fd =
        ::accept4(m_listener, reinterpret_cast<sockaddr*>(&peer), &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
        if (IsShortOfRoom(errno)) {
            RestFromAccepting(errno);
        }
        return;
    }
    m_bAcceptFailed = false;
    const std::string place = PlaceOf(peer);
    MakeRoom(place);
    m_connections.push_back(std::make_unique<Connection>());
    Connection& connection = *m_connections.back();
    connection.fd = fd;
    connection.place = place;
    connection.peer = NumericAddress(peer);
    connection.readable = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
    connection.writable = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Write);
    connection.writable->setEnabled(false);
    connect(connection.readable.get(), &QSocketNotifier::activated, this,
            [this, &connection] { OnReadable(connection); });
    connect(connection.writable.get(), &QSocketNotifier::activated, this,
            [this, &connection] { OnWritable(connection); });
}

// Whoever waits would be told of again and again: the next tick tries once more. Told once until it works
// again.
void WebServer::RestFromAccepting(int error) {
    m_acceptable->setEnabled(false);
    if (!std::exchange(m_bAcceptFailed, true)) {
        Diagnose("WebServer: no page can be let in now: %s\n", std::strerror(error));
    }
}

// The oldest connection of the address that has too many goes, or of the one that has the most when there is
// no place left: what idles keeps nobody out. Pages are processes, and none of these.
void WebServer::MakeRoom(const std::string& place) {
    std::map<std::string_view, std::size_t> held;
    for (const auto& connection : m_connections) {
        ++held[connection->place];
    }
    const bool bOwn = held[place] >= PlacesOfOne();
    if (!bOwn && m_connections.size() < m_maxConnections) {
        return;
    }
    const auto most = std::max_element(held.begin(), held.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
    const std::string from(bOwn ? std::string_view(place) : most->first);
    const auto isTheirs = [&](const auto& connection) { return connection->place == from; };
    // One that is being answered ends by itself.
    auto oldest = std::find_if(m_connections.begin(), m_connections.end(), [&](const auto& connection) {
        return isTheirs(connection) && connection->out.empty();
    });
    if (oldest == m_connections.end()) {
        oldest = std::find_if(m_connections.begin(), m_connections.end(), isTheirs);
    }
    Drop(**oldest);
}

// Frees the connection when its notifiers, one of which may be the caller, have returned.
void WebServer::Drop(Connection& connection) {
    connection.readable->setEnabled(false);
    connection.writable->setEnabled(false);
    const auto place = std::find_if(m_connections.begin(), m_connections.end(),
                                    [&](const auto& owned) { return owned.get() == &connection; });
    if (place == m_connections.end()) {
        return;
    }
    (*place)->readable.release()->deleteLater();
    (*place)->writable.release()->deleteLater();
    m_connections.erase(place);
}

void WebServer::OnReadable(Connection& connection) {
    std::array<char, 4096> bytes;
    const ssize_t count = ::recv(connection.fd, bytes.data(), bytes.size(), 0);
    if (count <= 0) {
        if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
            Drop(connection);
        }
        return;
    }
    connection.in.append(bytes.data(), static_cast<std::size_t>(count));
    const std::size_t end = connection.in.find("\r\n\r\n");
    if (end == std::string::npos) {
        if (connection.in.size() > kMaxRequestHead) {
            Drop(connection);
        }
        return;
    }
    connection.readable->setEnabled(false);
    const auto request = ParseHttpRequest(std::string_view(connection.in).substr(0, end));
    // A client sends nothing after the head of what we serve, before it has the answer.
    if (!request || connection.in.size() != end + 4) {
        Answer(connection, 400, "text/plain", {});
        return;
    }
    Handle(connection, *request);
}

void WebServer::Handle(Connection& connection, const HttpRequest& request) {
    if (!m_access->MayHaveScript(request)) {
        Answer(connection, 403, "text/plain", {});
        return;
    }
    if (request.method != "GET") {
        Answer(connection, 405, "text/plain", {});
        return;
    }
    if (request.path == "/control") {
        StartSession(connection, request);
        return;
    }
    if (request.path.starts_with(kHelpPath)) {
        AnswerHelp(connection, request.path.substr(std::strlen(kHelpPath)));
        return;
    }
    const WebAsset* const asset = FindWebAsset(request.path);
    if (asset == nullptr) {
        Answer(connection, 404, "text/plain", {});
        return;
    }
    if (!asset->holdsToken) {
        Answer(connection, 200, asset->type, ReadWebAsset(*asset),
               "Cross-Origin-Resource-Policy: cross-origin\r\n");
        return;
    }
    if (!m_access->MayHavePage(request)) {
        m_signIns.Tell(false, connection.peer);
        Answer(connection, 403, "text/plain", {});
        return;
    }
    Answer(connection, 200, asset->type, WithToken(ReadWebAsset(*asset), m_access->Token()),
           "Cross-Origin-Resource-Policy: same-origin\r\nX-Frame-Options: SAMEORIGIN\r\n"
           "Content-Security-Policy: default-src 'none'; script-src 'self' blob:; style-src 'self'; "
           "connect-src 'self'; img-src data: blob:; frame-ancestors 'self'; base-uri 'none'; "
           "form-action 'none'\r\n");
}

// The pages are the same for all, and hold nothing of anybody's.
void WebServer::AnswerHelp(Connection& connection, const std::string& name) {
    const auto path = FindHelpFile(m_settings.helpFolder, name);
    const auto file = path ? ReadHelpFile(*path) : std::nullopt;
    if (!file) {
        Answer(connection, 404, "text/plain", {});
        return;
    }
    Answer(connection, 200, file->type, file->bytes,
           "Cross-Origin-Resource-Policy: same-origin\r\nX-Frame-Options: SAMEORIGIN\r\n"
           "Content-Security-Policy: default-src 'none'; style-src 'self'; img-src 'self'; "
           "frame-ancestors 'self'; base-uri 'none'; form-action 'none'\r\n");
}

void WebServer::Answer(Connection& connection, int status, const char* type, const std::string& body,
                       const std::string& headers) {
    connection.out = FormatText(
        "HTTP/1.1 %d %s\r\nContent-Type: %s%s\r\nContent-Length: %zu\r\n"
        "Connection: close\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n"
        "Referrer-Policy: strict-origin-when-cross-origin\r\n",
        status, ReasonOf(status), type, std::string_view(type).starts_with("image/") ? "" : "; charset=utf-8",
        body.size());
    connection.out += headers + "\r\n" + body;
    connection.writable->setEnabled(true);
}

void WebServer::OnWritable(Connection& connection) {
    const ssize_t sent = ::send(connection.fd, connection.out.data(), connection.out.size(), MSG_NOSIGNAL);
    if (sent < 0) {
        if (errno != EAGAIN && errno != EINTR) {
            Drop(connection);
        }
        return;
    }
    connection.out.erase(0, static_cast<std::size_t>(sent));
    if (connection.out.empty()) {
        Drop(connection);
    }
}

void WebServer::StartSession(Connection& connection, const HttpRequest& request) {
    if (!m_access->MayHaveSession(request)) {
        m_signIns.Tell(false, connection.peer);
        Answer(connection, 403, "text/plain", {});
        return;
    }
    const std::string& key = request.Header("sec-websocket-key");
    if (QString::fromStdString(request.Header("upgrade")).compare("websocket", Qt::CaseInsensitive) != 0 ||
        request.Header("sec-websocket-version") != "13" || key.empty() || key.size() > 64) {
        Answer(connection, 426, "text/plain", {}, "Sec-WebSocket-Version: 13\r\n");
        return;
    }
    if (m_sessions.size() >= kMaxSessions) {
        Answer(connection, 503, "text/plain", {});
        return;
    }
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        Answer(connection, 503, "text/plain", {});
        return;
    }
    auto session = std::make_unique<Session>();
    session->order = ends[0];
    // Under the name by which the page knows the host.
    const std::string help =
        m_settings.helpFolder.empty() ? std::string() : "http://" + request.Header("host") + "/help";
    QByteArray order = WriteSessionOrder({m_settings.session, key, help});
    const bool bOrdered = WriteAll(ends[0], order);
    ::explicit_bzero(order.data(), static_cast<std::size_t>(order.size()));
    session->pid = bOrdered ? Spawn(m_program, connection.fd, ends[1]) : -1;
    ::close(ends[1]);
    if (session->pid < 0) {
        Diagnose("WebServer: no session could be started, errno=%d\n", errno);
        Answer(connection, 503, "text/plain", {});
        return;
    }
    ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    session->ended = std::make_unique<QSocketNotifier>(ends[0], QSocketNotifier::Read);
    connect(session->ended.get(), &QSocketNotifier::activated, this, [notifier = session->ended.get(), this] {
        notifier->setEnabled(false);
        m_tick.start(0);  // its exit is told a moment after its descriptors are closed
    });
    m_sessions.push_back(std::move(session));
    m_signIns.Tell(true, connection.peer);
    Drop(connection);  // the process has the socket
}

void WebServer::OnTick() {
    Reap();
    DropLate();
    m_acceptable->setEnabled(true);
    const bool bEnding = std::any_of(m_sessions.begin(), m_sessions.end(),
                                     [](const auto& session) { return !session->ended->isEnabled(); });
    m_tick.start(bEnding ? kReapMs : kTickMs);
}

void WebServer::DropLate() {
    std::vector<Connection*> late;
    for (const auto& connection : m_connections) {
        if (connection->deadline.hasExpired()) {
            late.push_back(connection.get());
        }
    }
    for (Connection* const connection : late) {
        Drop(*connection);
    }
}

void WebServer::Reap() {
    std::erase_if(m_sessions, [](const std::unique_ptr<Session>& session) {
        int status = 0;
        const pid_t ended = ::waitpid(session->pid, &status, WNOHANG);
        if (ended == session->pid && status != 0) {
            Diagnose("WebServer: a session ended with status %d\n", status);
        }
        return ended == session->pid || (ended < 0 && errno == ECHILD);
    });
}

// One that somebody has stopped does not hear of the end: it is woken for it, once, and gets little time.
void WebServer::WakeIfStopped(Session& session) {
    siginfo_t state{};
    if (::waitid(P_PID, static_cast<id_t>(session.pid), &state, WSTOPPED | WNOHANG) == 0 &&
        state.si_pid == session.pid && session.woken.isForever()) {
        session.woken.setRemainingTime(kWokenMs);
        ::kill(session.pid, SIGCONT);
    } else if (session.woken.hasExpired()) {
        ::kill(session.pid, SIGKILL);
    }
}

bool WebServer::EndSessions(int milliseconds) {
    for (const auto& session : m_sessions) {
        session->Hangup();
    }
    QDeadlineTimer deadline(milliseconds);
    while (!m_sessions.empty() && !deadline.hasExpired()) {
        for (const auto& session : m_sessions) {
            WakeIfStopped(*session);
        }
        Reap();
        QThread::msleep(10);
    }
    for (const auto& session : m_sessions) {
        ::kill(session->pid, SIGKILL);
        ::waitpid(session->pid, nullptr, 0);
    }
    const bool bAll = m_sessions.empty();
    m_sessions.clear();
    return bAll;
}

}  // namespace kvmon
