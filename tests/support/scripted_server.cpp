#include "support/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace kvtest {

namespace {

// A socket bound to a free loopback port; the port goes to `port`.
int BindLoopback(std::uint16_t& port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    if (fd < 0 || ::bind(fd, generic, length) != 0 || ::getsockname(fd, generic, &length) != 0) {
        throw std::runtime_error("no loopback port");
    }
    port = ntohs(address.sin_port);
    return fd;
}

thread_local std::function<void(std::string)> noteHead;

}  // namespace

bool Peer::WaitReadable() {
    while (!m_stopping) {
        pollfd entry{m_socket, POLLIN, 0};
        if (::poll(&entry, 1, 20) > 0) {
            return true;
        }
    }
    return false;
}

std::string Peer::ReceiveHead() {
    std::string head;
    char byte = 0;
    while (!head.ends_with("\r\n\r\n") && WaitReadable() && ::recv(m_socket, &byte, 1, 0) == 1) {
        head += byte;
    }
    return m_stopping ? std::string() : head;  // whose script ends before all of it has come
}

std::string Peer::ReadHead() {
    std::string head = m_head.empty() ? ReceiveHead() : std::exchange(m_head, {});
    if (!head.empty() && noteHead) {
        noteHead(head);
    }
    return head;
}

std::string Peer::Read(std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t have = 0;
    while (have < count && WaitReadable()) {
        const ssize_t got = ::recv(m_socket, bytes.data() + have, count - have, 0);
        if (got <= 0) {
            break;
        }
        have += static_cast<std::size_t>(got);
    }
    bytes.resize(have);
    return bytes;
}

bool Peer::Write(std::string_view bytes) {
    while (!bytes.empty() && !m_stopping) {
        pollfd entry{m_socket, POLLOUT, 0};
        if (::poll(&entry, 1, 20) <= 0) {
            continue;
        }
        const ssize_t sent = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return bytes.empty();
}

bool Peer::WaitClosed(milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    char dropped[4096];
    while (!m_stopping && std::chrono::steady_clock::now() < deadline) {
        pollfd entry{m_socket, POLLIN, 0};
        if (::poll(&entry, 1, 20) > 0 && ::recv(m_socket, dropped, sizeof dropped, 0) <= 0) {
            return true;
        }
    }
    return false;
}

void Peer::Hold() {
    WaitClosed(std::chrono::hours(1));
}

void Peer::Close() {
    ::shutdown(m_socket, SHUT_RDWR);
}

void Peer::Reset() {
    const linger abrupt{1, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &abrupt, sizeof abrupt);
}

ScriptedServer::ScriptedServer(Script script, std::string only)
    : m_script(std::move(script)), m_only(std::move(only)) {
    m_listener = BindLoopback(m_port);
    ::listen(m_listener, 64);
    m_acceptor = std::thread([this] { AcceptLoop(); });
}

ScriptedServer::~ScriptedServer() {
    m_stopping = true;
    ::shutdown(m_listener, SHUT_RDWR);
    m_acceptor.join();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    ::close(m_listener);
}

void ScriptedServer::AcceptLoop() {
    while (!m_stopping) {
        const int fd = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            return;
        }
        const std::lock_guard lock(m_mutex);
        m_threads.emplace_back([this, fd] {
            Serve(fd);
            ::close(fd);
        });
    }
}

void ScriptedServer::Serve(int socket) {
    Peer peer(socket, 0, m_stopping);
    if (!m_only.empty()) {
        peer.m_head = peer.ReceiveHead();
        if (peer.m_head.find(m_only) == std::string::npos) {
            peer.Write(HttpReply(200, "OK", "0\r\n<audio_enabled>1</audio_enabled>\r\n"));
            return;
        }
    }
    {
        const std::lock_guard lock(m_mutex);
        peer.m_number = m_connections++;
    }
    noteHead = [this](std::string head) { Note(std::move(head)); };
    m_script(peer);
}

void ScriptedServer::Note(std::string head) {
    const std::lock_guard lock(m_mutex);
    m_heads.push_back(std::move(head));
    m_changed.notify_all();
}

int ScriptedServer::ConnectionCount() const {
    const std::lock_guard lock(m_mutex);
    return m_connections;
}

std::vector<std::string> ScriptedServer::Heads() const {
    const std::lock_guard lock(m_mutex);
    return m_heads;
}

bool ScriptedServer::WaitForHeads(std::size_t count, milliseconds timeout) const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_heads.size() >= count; });
}

ScriptedServer::Script SendAndHold(std::string reply) {
    return [reply = std::move(reply)](Peer& peer) {
        peer.ReadHead();
        peer.Write(reply);
        peer.Hold();
    };
}

std::string HttpReply(int status, std::string_view reason, std::string_view body) {
    std::string reply = "HTTP/1.0 " + std::to_string(status) + " ";
    reply.append(reason).append("\r\n\r\n").append(body);
    return reply;
}

std::uint16_t UnusedPort() {
    std::uint16_t port = 0;
    ::close(BindLoopback(port));
    return port;
}

}  // namespace kvtest
