#include "support/tls_peer/tls_front.h"

#include <arpa/inet.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <stdexcept>

namespace kvtest {
namespace {

struct Free {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    void operator()(SSL* session) const { SSL_free(session); }
};

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// Between the two until one of them ends.
void Pass(SSL* session, int socket, int behind) {
    char bytes[16384];
    while (true) {
        pollfd waited[2] = {{socket, POLLIN, 0}, {behind, POLLIN, 0}};
        if (SSL_pending(session) == 0 && ::poll(waited, 2, -1) <= 0) {
            return;
        }
        if (SSL_pending(session) > 0 || waited[0].revents != 0) {
            const int count = SSL_read(session, bytes, sizeof bytes);
            if (count <= 0 || ::send(behind, bytes, static_cast<std::size_t>(count), MSG_NOSIGNAL) != count) {
                return;
            }
        }
        if (waited[1].revents != 0) {
            const ssize_t count = ::recv(behind, bytes, sizeof bytes, 0);
            if (count <= 0 || SSL_write(session, bytes, static_cast<int>(count)) <= 0) {
                return;
            }
        }
    }
}

}  // namespace

TlsFront::TlsFront(std::uint16_t behind, const std::string& certificate)
    : m_behind(behind), m_certificate(certificate) {
    std::signal(SIGPIPE, SIG_IGN);  // the library writes as to a file
    m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(m_listener, generic, size) != 0 || ::listen(m_listener, 64) != 0 ||
        ::getsockname(m_listener, generic, &size) != 0) {
        throw std::runtime_error("no loopback port");
    }
    m_port = ntohs(address.sin_port);
    m_acceptor = std::thread([this] { AcceptLoop(); });
}

TlsFront::~TlsFront() {
    m_stopping = true;
    ::shutdown(m_listener, SHUT_RDWR);
    m_acceptor.join();
    {
        const std::lock_guard lock(m_mutex);
        for (const int socket : m_sockets) {
            ::shutdown(socket, SHUT_RDWR);
        }
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    ::close(m_listener);
}

void TlsFront::Show(const std::string& certificate) {
    const std::lock_guard lock(m_mutex);
    m_certificate = certificate;
}

void TlsFront::AcceptLoop() {
    while (true) {
        const int socket = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (m_stopping || socket < 0) {
            return;
        }
        ++m_connections;
        const std::lock_guard lock(m_mutex);
        m_sockets.push_back(socket);
        m_threads.emplace_back([this, socket, certificate = m_certificate] { Serve(socket, certificate); });
    }
}

void TlsFront::Serve(int socket, const std::string& certificate) {
    const int behind = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    {
        const std::unique_ptr<SSL_CTX, Free> context(SSL_CTX_new(TLS_server_method()));
        SSL_CTX_use_certificate_file(context.get(), certificate.c_str(), SSL_FILETYPE_PEM);
        SSL_CTX_use_PrivateKey_file(context.get(), certificate.c_str(), SSL_FILETYPE_PEM);
        const std::unique_ptr<SSL, Free> session(SSL_new(context.get()));
        SSL_set_fd(session.get(), socket);
        const sockaddr_in address = Loopback(m_behind);
        if (SSL_accept(session.get()) == 1 &&
            ::connect(behind, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            ++m_taken;
            Pass(session.get(), socket, behind);
        }
    }
    const std::lock_guard lock(m_mutex);
    std::erase(m_sockets, socket);
    ::close(socket);
    ::close(behind);
}

}  // namespace kvtest
