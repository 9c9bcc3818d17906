#include "platform/socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/worker.h"

namespace kvmon {

namespace {

struct CodeRow {
    int error;
    std::uint32_t code;
};

constexpr CodeRow kCodes[] = {
    {EINTR, 10004},           {EBADF, 10009},           {EACCES, 10013},        {EPERM, 10013},
    {EFAULT, 10014},          {EINVAL, 10022},          {EMFILE, 10024},        {ENFILE, 10024},
    {EAGAIN, 10035},          {EINPROGRESS, 10035},     {EALREADY, 10037},      {ENOTSOCK, 10038},
    {EDESTADDRREQ, 10039},    {EMSGSIZE, 10040},        {EPROTOTYPE, 10041},    {ENOPROTOOPT, 10042},
    {EPROTONOSUPPORT, 10043}, {ESOCKTNOSUPPORT, 10044}, {EOPNOTSUPP, 10045},    {EPFNOSUPPORT, 10046},
    {EAFNOSUPPORT, 10047},    {EADDRINUSE, 10048},      {EADDRNOTAVAIL, 10049}, {ENETDOWN, 10050},
    {ENETUNREACH, 10051},     {ENETRESET, 10052},       {ECONNABORTED, 10053},  {ECONNRESET, 10054},
    {EPIPE, 10054},           {ENOBUFS, 10055},         {ENOMEM, 10055},        {EISCONN, 10056},
    {ENOTCONN, 10057},        {ESHUTDOWN, 10058},       {ETOOMANYREFS, 10059},  {ETIMEDOUT, 10060},
    {ECONNREFUSED, 10061},    {ELOOP, 10062},           {ENAMETOOLONG, 10063},  {EHOSTDOWN, 10064},
    {EHOSTUNREACH, 10065},
};

constexpr Milliseconds kResolveRound{250};

sockaddr_in MakeAddress(Ipv4Address address, std::uint16_t port) {
    sockaddr_in made{};
    made.sin_family = AF_INET;
    made.sin_port = htons(port);
    made.sin_addr.s_addr = address;
    return made;
}

const sockaddr* Generic(const sockaddr_in& address) {
    return static_cast<const sockaddr*>(static_cast<const void*>(&address));
}

std::uint32_t CodeOf(int result) {
    return result == 0 ? 0 : SocketErrorFromErrno(errno);
}

}  // namespace

std::uint32_t SocketErrorFromErrno(int error) {
    for (const CodeRow& row : kCodes) {
        if (row.error == error) {
            return row.code;
        }
    }
    return kSocketInvalidArgument;
}

std::optional<Ipv4Address> ParseDottedAddress(const std::string& text) {
    in_addr address{};
    if (text.empty() || ::inet_aton(text.c_str(), &address) == 0) {
        return std::nullopt;
    }
    return address.s_addr;
}

std::optional<Ipv4Address> ResolveName(const std::string& name, const std::function<bool()>& giveUp) {
    struct Lookup {
        std::string name;
        std::optional<Ipv4Address> address;
    };
    const auto lookup = std::make_shared<Lookup>();
    lookup->name = name;
    Worker worker;
    const bool started = worker.Start("resolve", [lookup] {
        addrinfo wanted{};
        wanted.ai_family = AF_INET;
        wanted.ai_socktype = SOCK_STREAM;
        addrinfo* found = nullptr;
        if (::getaddrinfo(lookup->name.c_str(), nullptr, &wanted, &found) == 0 && found != nullptr) {
            sockaddr_in address{};
            std::memcpy(&address, found->ai_addr, sizeof address);
            lookup->address = address.sin_addr.s_addr;
        }
        if (found != nullptr) {
            ::freeaddrinfo(found);
        }
    });
    while (started && !worker.Wait(kResolveRound)) {
        if (giveUp()) {
            return std::nullopt;  // the worker owns the look-up and ends by itself
        }
    }
    return started ? lookup->address : std::nullopt;
}

std::uint32_t SystemSocket::Open() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const std::uint32_t code = fd >= 0 ? 0 : SocketErrorFromErrno(errno);
    const std::lock_guard lock(m_closing);
    m_fd = fd;
    return code;
}

std::uint32_t SystemSocket::BindAny() {
    const sockaddr_in address = MakeAddress(htonl(INADDR_ANY), 0);
    return CodeOf(::bind(m_fd, Generic(address), sizeof address));
}

std::uint32_t SystemSocket::SetBlocking(bool blocking) {
    int on = blocking ? 0 : 1;
    return CodeOf(::ioctl(m_fd, FIONBIO, &on));
}

std::uint32_t SystemSocket::Connect(Ipv4Address address, std::uint16_t port) {
    const sockaddr_in target = MakeAddress(address, port);
    return CodeOf(::connect(m_fd, Generic(target), sizeof target));
}

std::uint32_t SystemSocket::PendingError() const {
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(m_fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
        return SocketErrorFromErrno(errno);
    }
    return error == 0 ? 0 : SocketErrorFromErrno(error);
}

std::uint32_t SystemSocket::SetKeepAlive(bool on) {
    const int value = on ? 1 : 0;
    return CodeOf(::setsockopt(m_fd, SOL_SOCKET, SO_KEEPALIVE, &value, sizeof value));
}

std::uint32_t SystemSocket::SetDeadPeer(const DeadPeer& times) {
    const struct {
        int option;
        int value;
    } rows[] = {
        {TCP_KEEPIDLE, times.idleSeconds},
        {TCP_KEEPINTVL, times.intervalSeconds},
        {TCP_KEEPCNT, times.probes},
        {TCP_USER_TIMEOUT, times.unansweredMs},
    };
    for (const auto& row : rows) {
        if (const auto code =
                CodeOf(::setsockopt(m_fd, IPPROTO_TCP, row.option, &row.value, sizeof row.value))) {
            return code;
        }
    }
    return 0;
}

std::uint32_t SystemSocket::SetReceiveTimeout(std::uint32_t milliseconds) {
    timeval value{};
    value.tv_sec = milliseconds / 1000;
    value.tv_usec = static_cast<suseconds_t>(milliseconds % 1000) * 1000;
    return CodeOf(::setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &value, sizeof value));
}

std::uint32_t SystemSocket::SetSendBuffer(int bytes) {
    return CodeOf(::setsockopt(m_fd, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes));
}

Socket::Ready SystemSocket::Poll(bool write, int milliseconds, std::uint32_t& error) {
    pollfd entry{m_fd, static_cast<short>(write ? POLLOUT : POLLIN), 0};
    const int count = ::poll(&entry, 1, milliseconds);
    if (count < 0 && errno != EINTR) {
        error = SocketErrorFromErrno(errno);
        return Ready::Error;
    }
    if (count > 0 && (entry.revents & POLLNVAL) != 0) {
        error = SocketErrorFromErrno(EBADF);
        return Ready::Error;
    }
    return count > 0 ? Ready::Yes : Ready::No;
}

std::optional<std::size_t> SystemSocket::Send(const void* data, std::size_t length, std::uint32_t& error) {
    ssize_t sent = 0;
    do {
        sent = ::send(m_fd, data, length, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0) {
        error = SocketErrorFromErrno(errno);
        return std::nullopt;
    }
    return static_cast<std::size_t>(sent);
}

std::optional<std::size_t> SystemSocket::Receive(void* buffer, std::size_t length, std::uint32_t& error) {
    return Receive(buffer, length, 0, error);
}

std::optional<std::size_t> SystemSocket::Peek(void* buffer, std::size_t length, std::uint32_t& error) {
    return Receive(buffer, length, MSG_PEEK, error);
}

std::optional<std::size_t> SystemSocket::Receive(void* buffer, std::size_t length, int flags,
                                                 std::uint32_t& error) {
    ssize_t got = 0;
    do {
        got = ::recv(m_fd, buffer, length, flags);
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        error = SocketErrorFromErrno(errno);
        return std::nullopt;
    }
    return static_cast<std::size_t>(got);
}

void SystemSocket::Shutdown() {
    const std::lock_guard lock(m_closing);
    if (m_fd >= 0) {
        ::shutdown(m_fd, SHUT_RDWR);
    }
}

void SystemSocket::Close() {
    const std::lock_guard lock(m_closing);
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

}  // namespace kvmon
