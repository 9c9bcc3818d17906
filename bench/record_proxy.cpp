#include "record_proxy.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "wire/frame_header.h"

namespace kvbench {

namespace {

sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

bool SendAll(int socket, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace

std::int64_t SteadyNs() {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

// Takes a stream's bytes apart: the reply's head, then records.
class RecordProxy::Records {
public:
    // What has become whole with these bytes: the numbers of pictures.
    std::vector<int> Take(std::span<const std::uint8_t> bytes, const Number& number) {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        std::vector<int> whole;
        if (!m_bBody) {
            const std::string_view text(static_cast<const char*>(static_cast<const void*>(m_bytes.data())),
                                        m_bytes.size());
            const auto end = text.find("\r\n\r\n");
            if (end == std::string_view::npos) {
                return whole;
            }
            m_bytes.erase(m_bytes.begin(), m_bytes.begin() + static_cast<std::ptrdiff_t>(end) + 4);
            m_bBody = true;
        }
        while (m_bytes.size() >= wire::kFrameHeaderSize) {
            std::size_t size = 0;
            for (std::size_t i = 0; i < 4; ++i) {
                size |= std::size_t{m_bytes[wire::kDataSizeOffset + i]} << (8 * i);
            }
            const std::size_t record = wire::kFrameHeaderSize + size;
            if (m_bytes.size() < record) {
                break;
            }
            if (const int found = number(std::span(m_bytes).first(record).subspan(wire::kFrameHeaderSize));
                found >= 0) {
                whole.push_back(found);
            }
            m_bytes.erase(m_bytes.begin(), m_bytes.begin() + static_cast<std::ptrdiff_t>(record));
        }
        return whole;
    }

private:
    std::vector<std::uint8_t> m_bytes;
    bool m_bBody = false;
};

RecordProxy::RecordProxy(int recorderPort, Number number)
    : m_recorderPort(recorderPort),
      m_number(std::move(number)),
      m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = Loopback(0);
    socklen_t length = sizeof address;
    auto* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    if (m_listener < 0 || ::bind(m_listener, generic, length) != 0 || ::listen(m_listener, SOMAXCONN) != 0 ||
        ::getsockname(m_listener, generic, &length) != 0) {
        throw std::runtime_error("no loopback port");
    }
    m_port = ntohs(address.sin_port);
    m_accepting = std::jthread([this] { Accept(); });
}

RecordProxy::~RecordProxy() {
    {
        const std::lock_guard lock(m_mutex);
        m_bEnd = true;
        for (const int socket : m_sockets) {
            ::shutdown(socket, SHUT_RDWR);
        }
    }
    ::shutdown(m_listener, SHUT_RDWR);
    m_accepting.join();
    m_threads.clear();
    for (const int socket : m_sockets) {
        ::close(socket);
    }
    ::close(m_listener);
}

std::int64_t RecordProxy::SentNs(int channel, int number) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_sent.find({channel, number});
    return found == m_sent.end() ? 0 : found->second;
}

void RecordProxy::Note(int channel, int number, std::int64_t ns) {
    const std::lock_guard lock(m_mutex);
    m_sent[{channel, number}] = ns;
}

// Sockets stay open until the end: one that is closed earlier could be another's by then.
int RecordProxy::Hold(int socket) {
    const std::lock_guard lock(m_mutex);
    m_sockets.push_back(socket);
    if (m_bEnd) {
        ::shutdown(socket, SHUT_RDWR);
    }
    return socket;
}

void RecordProxy::Accept() {
    for (int client = 0; (client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        Hold(client);
        m_threads.emplace_back([this, client] { Pass(client); });
    }
}

void RecordProxy::Pass(int client) {
    const int recorder = Hold(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in address = Loopback(m_recorderPort);
    const int on = 1;
    ::setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::setsockopt(recorder, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (::connect(recorder, static_cast<const sockaddr*>(static_cast<const void*>(&address)),
                  sizeof address) != 0) {
        ::shutdown(client, SHUT_RDWR);
        return;
    }
    std::array<std::uint8_t, 65536> block{};
    std::string request;
    int channel = -1;
    Records records;
    while (true) {
        std::array<pollfd, 2> entries{pollfd{client, POLLIN, 0}, pollfd{recorder, POLLIN, 0}};
        if (::poll(entries.data(), entries.size(), -1) < 0) {
            break;
        }
        const bool bUp = entries[0].revents != 0;
        const ssize_t count = ::recv(bUp ? client : recorder, block.data(), block.size(), 0);
        if (count <= 0) {
            break;
        }
        const auto bytes = std::span(block).first(static_cast<std::size_t>(count));
        if (bUp) {
            request.append(bytes.begin(), bytes.end());
            constexpr std::string_view kStream = "getstream.cgi?ch=";
            if (const auto at = request.find(kStream); at != std::string::npos) {
                channel = std::atoi(request.c_str() + at + kStream.size());
            }
        } else if (channel >= 0) {
            const std::int64_t now = SteadyNs();
            for (const int number : records.Take(bytes, m_number)) {
                Note(channel, number, now);
            }
        }
        if (!SendAll(bUp ? recorder : client, bytes)) {
            break;
        }
    }
    ::shutdown(client, SHUT_RDWR);
    ::shutdown(recorder, SHUT_RDWR);
}

}  // namespace kvbench
