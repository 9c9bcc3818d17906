#include "platform/group_socket.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>

namespace kvmon {

namespace {

constexpr std::size_t kMostNetworks = 64;

std::vector<in_addr> OwnAddresses() {
    std::vector<in_addr> addresses;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        return addresses;
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> keep(list, ::freeifaddrs);
    for (const ifaddrs* entry = list; entry != nullptr && addresses.size() < kMostNetworks;
         entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
            (entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & (IFF_MULTICAST | IFF_LOOPBACK)) != 0) {
            addresses.push_back(reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr);
        }
    }
    return addresses;
}

int OpenAt(const in_addr& address) {
    const int made = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr = address;
    if (made >= 0 && (::bind(made, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
                      ::setsockopt(made, IPPROTO_IP, IP_MULTICAST_IF, &address, sizeof address) != 0)) {
        ::close(made);
        return -1;
    }
    return made;
}

std::string TextOf(const in_addr& address) {
    std::array<char, INET_ADDRSTRLEN> text{};
    return ::inet_ntop(AF_INET, &address, text.data(), text.size()) != nullptr ? text.data() : "";
}

}  // namespace

GroupSocket::~GroupSocket() {
    for (const int each : m_sockets) {
        ::close(each);
    }
}

bool GroupSocket::Open(const std::string& from) {
    std::vector<in_addr> addresses;
    if (from.empty()) {
        addresses = OwnAddresses();
    } else if (in_addr address{}; ::inet_pton(AF_INET, from.c_str(), &address) == 1) {
        addresses.push_back(address);
    }
    for (const in_addr& address : addresses) {
        if (const int made = OpenAt(address); made >= 0) {
            m_sockets.push_back(made);
            m_own.push_back(TextOf(address));
        }
    }
    return !m_sockets.empty();
}

bool GroupSocket::IsOwn(const std::string& address) const {
    return std::find(m_own.begin(), m_own.end(), address) != m_own.end();
}

// A group's datagrams pass no router unless it is asked for.
void GroupSocket::Send(std::string_view datagram, const char* group, std::uint16_t port) const {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    if (::inet_pton(AF_INET, group, &to.sin_addr) != 1) {
        return;
    }
    for (const int each : m_sockets) {
        ::sendto(each, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                 sizeof to);
    }
}

void GroupSocket::Receive(Milliseconds wait, std::size_t most, std::size_t longest, const Taker& take) const {
    std::vector<pollfd> waits;
    for (const int each : m_sockets) {
        waits.push_back({each, POLLIN, 0});
    }
    if (::poll(waits.data(), waits.size(), static_cast<int>(wait.count())) <= 0) {
        return;
    }
    std::vector<char> buffer(longest + 1);
    for (const pollfd& ready : waits) {
        for (; most > 0 && ready.revents != 0; --most) {
            sockaddr_in sender{};
            socklen_t size = sizeof sender;
            const ssize_t count = ::recvfrom(ready.fd, buffer.data(), buffer.size(), 0,
                                             reinterpret_cast<sockaddr*>(&sender), &size);
            if (count < 0) {
                break;
            }
            take({buffer.data(), static_cast<std::size_t>(count)}, TextOf(sender.sin_addr));
        }
    }
}

}  // namespace kvmon
