#include "link.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

namespace hostile {

namespace {

constexpr int kRoundMs = 50;
constexpr int kDeafMs = 10'000;
constexpr int kSilentMs = 5'000;
constexpr std::size_t kMostTaken = 16 << 20;

}  // namespace

Link::~Link() {
    ::close(m_socket);
}

int Link::Connect(std::uint16_t port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    auto* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    if (fd >= 0 && ::connect(fd, generic, sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool Link::Wait(short events, int ms) const {
    for (int waited = 0; !m_ending && waited <= ms; waited += kRoundMs) {
        pollfd entry{m_socket, events, 0};
        if (::poll(&entry, 1, std::min(kRoundMs, ms)) > 0) {
            return true;
        }
    }
    return false;
}

bool Link::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        if (!Wait(POLLOUT, kDeafMs)) {
            return false;
        }
        const ssize_t sent = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::optional<std::string> Link::Take(int waitMs) {
    if (!m_ahead.empty()) {
        return std::exchange(m_ahead, {});
    }
    if (!Wait(POLLIN, waitMs)) {
        return m_ending ? std::nullopt : std::optional(std::string());
    }
    std::array<char, 65536> part;
    const ssize_t got = ::recv(m_socket, part.data(), part.size(), 0);
    return got > 0 ? std::optional(std::string(part.data(), static_cast<std::size_t>(got))) : std::nullopt;
}

std::string Link::TakeHead() {
    std::string text;
    std::size_t end = std::string::npos;
    while (end == std::string::npos) {
        const auto part = Take(kDeafMs);
        if (!part || part->empty()) {
            return {};
        }
        text += *part;
        end = text.find("\r\n\r\n");
    }
    m_ahead = text.substr(end + 4);
    text.resize(end + 4);
    return text;
}

std::string Link::TakeExactly(std::size_t count, const Link* watched) {
    std::string bytes;
    while (bytes.size() < count) {
        auto part = Take(kRoundMs);
        if (!part || (watched != nullptr && watched->HasLeft())) {
            break;
        }
        bytes += *part;
    }
    if (bytes.size() > count) {
        m_ahead = bytes.substr(count);
        bytes.resize(count);
    }
    return bytes;
}

std::string Link::TakeAll() {
    std::string bytes;
    while (bytes.size() < kMostTaken) {
        const auto part = Take(kSilentMs);
        if (!part || part->empty()) {
            break;
        }
        bytes += *part;
    }
    return bytes;
}

void Link::Stall(int ms) {
    for (int waited = 0; !m_ending && !HasLeft() && waited < ms; waited += kRoundMs) {
        Wait(POLLRDHUP, kRoundMs - 1);
    }
}

bool Link::HasLeft() const {
    pollfd entry{m_socket, POLLRDHUP, 0};
    return ::poll(&entry, 1, 0) > 0;
}

void Link::MakeReset() {
    const linger abrupt{1, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &abrupt, sizeof abrupt);
}

}  // namespace hostile
