#include "support/faulty_proxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace kvtest {
namespace {

constexpr int kLookMs = 10;
constexpr int kGarbled = 700;  // each so-manieth byte

int Socket(std::uint16_t port, sockaddr_in& address) {
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

bool SendAll(int socket, const char* data, ssize_t size) {
    for (ssize_t sent = 0; sent < size;) {
        const ssize_t more = ::send(socket, data + sent, static_cast<std::size_t>(size - sent), MSG_NOSIGNAL);
        if (more <= 0) {
            return false;
        }
        sent += more;
    }
    return true;
}

}  // namespace

FaultyProxy::FaultyProxy(std::uint16_t target) : m_target(target) {
    sockaddr_in address{};
    m_listener = Socket(0, address);
    socklen_t length = sizeof address;
    auto* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    if (::bind(m_listener, generic, length) != 0 || ::listen(m_listener, 16) != 0 ||
        ::getsockname(m_listener, generic, &length) != 0) {
        throw std::runtime_error("no loopback port");
    }
    m_port = ntohs(address.sin_port);
    m_acceptor = std::thread([this] { Accept(); });
}

FaultyProxy::~FaultyProxy() {
    m_stopping = true;
    m_acceptor.join();
    for (std::thread& relay : m_relays) {
        relay.join();
    }
    ::close(m_listener);
}

void FaultyProxy::Accept() {
    while (!m_stopping) {
        pollfd entry{m_listener, POLLIN, 0};
        if (::poll(&entry, 1, kLookMs) <= 0) {
            continue;
        }
        const int client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client >= 0) {
            ++m_connections;
            m_relays.emplace_back([this, client] { Relay(client); });
        }
    }
}

void FaultyProxy::Relay(int client) {
    const int cuts = m_cuts;
    sockaddr_in address{};
    const int server = Socket(m_target, address);
    bool open = ::connect(server, static_cast<sockaddr*>(static_cast<void*>(&address)), sizeof address) == 0;
    char data[4096];
    long bytes = 0;
    while (open && !m_stopping && cuts == m_cuts) {
        pollfd ends[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        const int ready = m_mode == Mode::Stall ? (::usleep(kLookMs * 1000), 0) : ::poll(ends, 2, kLookMs);
        for (int i = 0; i < 2 && ready > 0; ++i) {
            if (ends[i].revents == 0) {
                continue;
            }
            const ssize_t got = ::recv(ends[i].fd, data, sizeof data, 0);
            for (ssize_t k = 0; k < got && i == 1 && m_mode == Mode::Garble; ++k) {
                if (++bytes % kGarbled == 0) {
                    data[k] = static_cast<char>(data[k] ^ (bytes / kGarbled));
                }
            }
            open = open && got > 0 && SendAll(ends[1 - i].fd, data, got);
        }
    }
    ::close(client);
    ::close(server);
}

}  // namespace kvtest
