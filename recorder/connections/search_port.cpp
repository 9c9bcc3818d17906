#include "connections/search_port.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <asio/buffer.hpp>
#include <asio/ip/multicast.hpp>
#include <asio/ip/unicast.hpp>
#include <asio/post.hpp>

#include <algorithm>
#include <memory>

#include "state/recorder_config.h"

namespace kvrecorder {

using asio::ip::udp;

namespace {

constexpr std::chrono::seconds kNetworksPause{30};
constexpr std::chrono::milliseconds kRetryPause{100};
constexpr std::uint16_t kFirstFreePort = 1024;  // below it are services, which ask nothing
constexpr std::size_t kMostNetworks = 64;

// The first bytes of a name, without half a character at their end.
std::string_view Shortened(std::string_view name) {
    std::size_t size = std::min(name.size(), wire::kSearchMostName);
    while (size < name.size() && size > 0 && (static_cast<unsigned char>(name[size]) & 0xC0U) == 0x80U) {
        --size;
    }
    return name.substr(0, size);
}

// Those that are up now.
std::vector<asio::ip::address_v4> OwnAddresses() {
    std::vector<asio::ip::address_v4> addresses;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        return addresses;
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> keep(list, ::freeifaddrs);
    for (const ifaddrs* entry = list; entry && addresses.size() < kMostNetworks; entry = entry->ifa_next) {
        if (entry->ifa_addr && entry->ifa_addr->sa_family == AF_INET && (entry->ifa_flags & IFF_UP) != 0) {
            addresses.emplace_back(
                ntohl(reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr.s_addr));
        }
    }
    return addresses;
}

}  // namespace

std::optional<std::string> SearchAnswer(std::string_view question, std::string_view name,
                                        std::uint16_t port) {
    if (question.size() != wire::kSearchQuestionSize || !question.starts_with(wire::kSearchQuestion)) {
        return std::nullopt;
    }
    const std::string_view told = Shortened(name);
    std::string answer(wire::kSearchAnswer);
    answer += question.substr(wire::kSearchQuestion.size(), wire::kSearchMark);
    answer += static_cast<char>(port >> 8U);
    answer += static_cast<char>(port & 0xFFU);
    answer += static_cast<char>(told.size());
    answer += told;
    return answer;
}

bool AnswerLimit::Take(std::uint32_t asker, std::chrono::steady_clock::time_point now) {
    if (now - m_begin >= std::chrono::seconds(1)) {
        m_begin = now;
        m_askers.clear();
    }
    const auto had = static_cast<std::size_t>(std::count(m_askers.begin(), m_askers.end(), asker));
    if (m_askers.size() >= kAll || had >= kOne) {
        return false;
    }
    m_askers.push_back(asker);
    return true;
}

SearchPort::SearchPort(asio::io_context& io, RecorderModel& model)
    : m_model(model), m_strand(io.get_executor()) {}

void SearchPort::Open(const std::string& address, std::uint16_t port, std::uint16_t servedPort) {
    m_servedPort = servedPort;
    std::error_code error;
    m_address = asio::ip::make_address_v4(address, error);
    if (error) {
        throw ConfigError("\"" + address + "\" is no IPv4 address to be found at");
    }
    m_questions.open(udp::v4(), error);
    if (!error) {
        // Several recorders of one computer are all found.
        m_questions.set_option(asio::socket_base::reuse_address(true), error);
    }
    const int own = 0;
    if (!error &&
        ::setsockopt(m_questions.native_handle(), IPPROTO_IP, IP_MULTICAST_ALL, &own, sizeof own) != 0) {
        error.assign(errno, std::system_category());
    }
    // At the group's address nothing comes that was sent to this computer alone, as from beyond a router.
    if (!error) {
        m_questions.bind({asio::ip::make_address_v4(wire::kSearchGroup), port}, error);
    }
    if (!error) {
        m_answers.open(udp::v4(), error);
    }
    if (!error) {
        m_answers.bind({m_address, 0}, error);
    }
    // An answer leaves the network of the question no more than the question does.
    if (!error) {
        m_answers.set_option(asio::ip::unicast::hops(1), error);
    }
    if (!error) {
        m_answers.non_blocking(true, error);
    }
    if (error) {
        throw ConfigError("cannot be found on the network, at " + address + ":" + std::to_string(port) +
                          ": " + error.message());
    }
    m_port = m_questions.local_endpoint(error).port();
    Join();
}

void SearchPort::Begin() {
    asio::post(m_strand, [this] {
        if (m_closed) {
            return;
        }
        // What was waited for may have gone with the handler.
        std::error_code ignored;
        m_questions.cancel(ignored);
        m_retry.cancel();
        Receive();
        WatchNetworks();
    });
}

void SearchPort::Close() {
    asio::post(m_strand, [this] {
        m_closed = true;
        std::error_code ignored;
        m_questions.close(ignored);
        m_answers.close(ignored);
        m_networks.cancel();
        m_retry.cancel();
    });
}

// A network that is known already refuses, and is passed over.
void SearchPort::Join() {
    const auto group = asio::ip::make_address_v4(wire::kSearchGroup);
    const auto all = m_address.is_unspecified() ? OwnAddresses() : std::vector{m_address};
    for (const asio::ip::address_v4& address : all) {
        std::error_code ignored;
        m_questions.set_option(asio::ip::multicast::join_group(group, address), ignored);
    }
}

// Cables are plugged, and addresses given, while it runs.
void SearchPort::WatchNetworks() {
    m_networks.expires_after(kNetworksPause);
    m_networks.async_wait([this](const std::error_code& ended) {
        if (!ended && !m_closed) {
            Join();
            WatchNetworks();
        }
    });
}

void SearchPort::Receive() {
    m_questions.async_receive_from(asio::buffer(m_question), m_asker,
                                   [this](const std::error_code& error, std::size_t size) {
                                       if (m_closed || error == asio::error::operation_aborted) {
                                           return;
                                       }
                                       if (error) {
                                           m_retry.expires_after(kRetryPause);
                                           m_retry.async_wait([this](const std::error_code& ended) {
                                               if (!ended && !m_closed) {
                                                   Receive();
                                               }
                                           });
                                           return;
                                       }
                                       OnQuestion(size);
                                       Receive();
                                   });
}

void SearchPort::OnQuestion(std::size_t size) {
    const auto answer = SearchAnswer({m_question.data(), size}, m_model.Current()->server.name, m_servedPort);
    if (!answer || m_asker.port() < kFirstFreePort ||
        !m_limit.Take(m_asker.address().to_v4().to_uint(), std::chrono::steady_clock::now())) {
        return;
    }
    std::error_code ignored;
    m_answers.send_to(asio::buffer(*answer), m_asker, 0, ignored);
}

}  // namespace kvrecorder
