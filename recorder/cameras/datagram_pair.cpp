#include "cameras/datagram_pair.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <utility>

namespace kvrecorder {
namespace {

constexpr int kTries = 20;

struct Address {
    sockaddr_storage bytes{};
    socklen_t size = sizeof bytes;

    sockaddr* Get() { return reinterpret_cast<sockaddr*>(&bytes); }
    int Port() const {
        return ntohs(bytes.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6*>(&bytes)->sin6_port
                                                 : reinterpret_cast<const sockaddr_in*>(&bytes)->sin_port);
    }
    void SetPort(int port) {
        const auto wire = htons(static_cast<std::uint16_t>(port));
        (bytes.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&bytes)->sin6_port
                                     : reinterpret_cast<sockaddr_in*>(&bytes)->sin_port) = wire;
    }
};

std::optional<Descriptor> Open(Address& own, int port) {
    own.SetPort(port);
    Descriptor opened(::socket(own.bytes.ss_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const bool bound = opened.Get() >= 0 && ::bind(opened.Get(), own.Get(), own.size) == 0 &&
                       ::getsockname(opened.Get(), own.Get(), &own.size) == 0;
    return bound ? std::optional<Descriptor>(std::move(opened)) : std::nullopt;
}

}  // namespace

std::optional<DatagramPair> DatagramPair::Beside(int socket) {
    for (int turn = 0; turn < kTries; ++turn) {
        Address own;
        if (::getsockname(socket, own.Get(), &own.size) != 0) {
            break;
        }
        auto media = Open(own, 0);
        const int port = own.Port();
        auto reports = media && port % 2 == 0 && port < 65535 ? Open(own, port + 1) : std::nullopt;
        if (media && reports) {
            return DatagramPair(port, std::move(*media), std::move(*reports));
        }
    }
    return std::nullopt;
}

bool DatagramPair::SendTo(int socket, int port) {
    Address peer;
    if (port < 1 || port > 65534 || ::getpeername(socket, peer.Get(), &peer.size) != 0) {
        return false;
    }
    peer.SetPort(port);
    return ::connect(m_media.Get(), peer.Get(), peer.size) == 0;
}

void DatagramPair::Send(std::string_view packet) {
    ::send(m_media.Get(), packet.data(), packet.size(), MSG_NOSIGNAL);
}

}  // namespace kvrecorder
