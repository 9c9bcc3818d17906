#include "support/search_beacon.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "wire/recorder_search.h"

namespace kvtest {

std::string RecorderAnswer(const std::string& mark, const std::string& name, std::uint16_t port) {
    std::string answer = "KVFIND1!" + mark;
    answer += static_cast<char>(port >> 8);
    answer += static_cast<char>(port & 0xFF);
    answer += static_cast<char>(name.size());
    return answer + name;
}

std::string RecorderQuestion(const std::string& mark) {
    std::string question = "KVFIND1?" + mark;
    question.resize(320);
    return question;
}

SearchBeacon::SearchBeacon(std::function<std::vector<std::string>(const std::string& mark)> answers)
    : m_answers(std::move(answers)) {
    m_socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in own{};
    own.sin_family = AF_INET;
    if (::bind(m_socket, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
        throw std::runtime_error("no port");
    }
    socklen_t size = sizeof own;
    ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&own), &size);
    m_port = ntohs(own.sin_port);
    ip_mreq group{};
    ::inet_pton(AF_INET, wire::kSearchGroup, &group.imr_multiaddr);
    group.imr_interface.s_addr = htonl(INADDR_LOOPBACK);
    ::setsockopt(m_socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group);
    m_thread = std::thread([this] { Work(); });
}

SearchBeacon::~SearchBeacon() {
    m_ended = true;
    m_thread.join();
    ::close(m_socket);
}

void SearchBeacon::Work() {
    while (!m_ended) {
        pollfd wait{m_socket, POLLIN, 0};
        if (::poll(&wait, 1, 20) <= 0) {
            continue;
        }
        std::array<char, 1024> buffer{};
        sockaddr_in sender{};
        socklen_t size = sizeof sender;
        const ssize_t count = ::recvfrom(m_socket, buffer.data(), buffer.size(), 0,
                                         reinterpret_cast<sockaddr*>(&sender), &size);
        const std::string question(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        if (question.size() != 320 || !question.starts_with("KVFIND1?")) {
            continue;
        }
        ++m_questions;
        for (const std::string& answer : m_answers(question.substr(8, 8))) {
            ::sendto(m_socket, answer.data(), answer.size(), 0, reinterpret_cast<const sockaddr*>(&sender),
                     size);
        }
    }
}

}  // namespace kvtest
