#include "support/onvif_device/onvif_beacon.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "support/onvif_device/onvif_login.h"

namespace kvtest {

OnvifBeacon::OnvifBeacon(std::vector<Camera> cameras, const std::string& at) : m_cameras(std::move(cameras)) {
    // Both families have the port at the same place.
    sockaddr_in6 own{};
    auto& four = reinterpret_cast<sockaddr_in&>(own);
    const bool isFour = ::inet_pton(AF_INET, at.c_str(), &four.sin_addr) == 1;
    own.sin6_family = isFour ? AF_INET : AF_INET6;
    if (!isFour) {
        ::inet_pton(AF_INET6, at.c_str(), &own.sin6_addr);
    }
    m_socket = ::socket(own.sin6_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    socklen_t size = isFour ? sizeof four : sizeof own;
    if (::bind(m_socket, reinterpret_cast<const sockaddr*>(&own), size) != 0) {
        throw std::runtime_error("no port");
    }
    ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&own), &size);
    m_port = ntohs(own.sin6_port);
    ip_mreq group{};
    ::inet_pton(AF_INET, "239.255.255.250", &group.imr_multiaddr);
    group.imr_interface.s_addr = htonl(INADDR_LOOPBACK);
    ::setsockopt(m_socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group);
    m_thread = std::thread([this] { Work(); });
}

OnvifBeacon::~OnvifBeacon() {
    m_ended = true;
    m_thread.join();
    ::close(m_socket);
}

void OnvifBeacon::Work() {
    while (!m_ended) {
        pollfd wait{m_socket, POLLIN, 0};
        if (::poll(&wait, 1, 20) <= 0) {
            continue;
        }
        std::array<char, 8192> buffer{};
        sockaddr_storage sender{};
        socklen_t size = sizeof sender;
        const ssize_t count = ::recvfrom(m_socket, buffer.data(), buffer.size(), 0,
                                         reinterpret_cast<sockaddr*>(&sender), &size);
        const std::string probe(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        const std::string message = ElementText(probe, "MessageID");
        const bool asks = probe.find("discovery/Probe") != std::string::npos && !message.empty() &&
                          ElementText(probe, "Types").ends_with("NetworkVideoTransmitter");
        if (!asks) {
            continue;
        }
        std::vector<std::string> answers = {"", "\x01\x02", "<a><b></a>", std::string(60'000, '<')};
        for (const Camera& camera : m_cameras) {
            const std::string answer =
                "<?xml version=\"1.0\"?><env:Envelope xmlns:env=\"http://www.w3.org/2003/05/soap-envelope\" "
                "xmlns:wsadis=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\" "
                "xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\"><env:Header><wsadis:RelatesTo>" +
                message +
                "</wsadis:RelatesTo></env:Header><env:Body><d:ProbeMatches><d:ProbeMatch>"
                "<wsadis:EndpointReference><wsadis:Address>" +
                camera.endpoint +
                "</wsadis:Address></wsadis:EndpointReference><d:Types>dn:NetworkVideoTransmitter</d:Types>"
                "<d:Scopes>" +
                camera.scopes + "</d:Scopes><d:XAddrs>" + camera.addresses +
                "</d:XAddrs><d:MetadataVersion>1</d:MetadataVersion></d:ProbeMatch></d:ProbeMatches>"
                "</env:Body></env:Envelope>";
            answers.insert(answers.end(), 2, answer);
        }
        for (const std::string& answer : answers) {
            ::sendto(m_socket, answer.data(), answer.size(), 0, reinterpret_cast<const sockaddr*>(&sender),
                     size);
        }
    }
}

}  // namespace kvtest
