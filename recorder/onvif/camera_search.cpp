#include "onvif/camera_search.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <random>
#include <thread>

#include "media/descriptor.h"
#include "media/utf8.h"
#include "onvif/onvif_address.h"
#include "onvif/onvif_device.h"

namespace kvrecorder {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kGroup = "239.255.255.250";
constexpr std::size_t kMostFound = 512;
constexpr std::size_t kLargestAnswer = 65536;
constexpr std::size_t kMostScopeText = 64;
// A datagram may be lost.
constexpr std::array<milliseconds, 3> kRounds = {milliseconds(0), milliseconds(250), milliseconds(1'000)};
constexpr std::size_t kAskers = 8;

// Older devices call themselves by the second name alone.
constexpr std::array<std::pair<const char*, const char*>, 2> kTypes = {
    {{"http://www.onvif.org/ver10/network/wsdl", "NetworkVideoTransmitter"},
     {"http://www.onvif.org/ver10/device/wsdl", "Device"}}};

std::string MakeUuid() {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::random_device source;
    std::string text = "00000000-0000-4000-8000-000000000000";
    for (char& c : text) {
        if (c == '0') {
            c = kDigits[source() % 16];
        }
    }
    return text;
}

std::string MakeProbe(const char* space, const char* type) {
    return std::string(
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?><s:Envelope "
               "xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" "
               "xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\"><s:Header>"
               "<a:Action s:mustUnderstand=\"1\">http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe"
               "</a:Action><a:MessageID>uuid:") +
           MakeUuid() +
           "</a:MessageID><a:ReplyTo><a:Address>http://schemas.xmlsoap.org/ws/2004/08/addressing/role/"
           "anonymous"
           "</a:Address></a:ReplyTo><a:To s:mustUnderstand=\"1\">urn:schemas-xmlsoap-org:ws:2005:04:discovery"
           "</a:To></s:Header><s:Body><d:Probe "
           "xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\"><d:Types xmlns:dn=\"" +
           space + "\">dn:" + type + "</d:Types></d:Probe></s:Body></s:Envelope>";
}

// All that can be asked from: networks that are up, and this machine itself.
std::vector<std::string> OwnAddresses() {
    std::vector<std::string> addresses;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        return addresses;
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> keep(list, ::freeifaddrs);
    for (const ifaddrs* entry = list; entry && addresses.size() < 64; entry = entry->ifa_next) {
        const bool fit = entry->ifa_addr && entry->ifa_addr->sa_family == AF_INET &&
                         (entry->ifa_flags & IFF_UP) != 0 &&
                         (entry->ifa_flags & (IFF_MULTICAST | IFF_LOOPBACK)) != 0;
        std::array<char, INET_ADDRSTRLEN> text{};
        if (fit && ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr,
                               text.data(), text.size())) {
            addresses.emplace_back(text.data());
        }
    }
    return addresses;
}

sockaddr_in AddressOf(const std::string& host, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (::inet_pton(AF_INET, host.c_str(), &address.sin_addr) == 1) {
        return address;
    }
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    addrinfo* list = nullptr;
    if (::getaddrinfo(host.c_str(), nullptr, &wanted, &list) != 0) {
        throw CameraError("the name of the host to ask is not known");
    }
    address.sin_addr = reinterpret_cast<const sockaddr_in*>(list->ai_addr)->sin_addr;
    ::freeaddrinfo(list);
    return address;
}

// Null where nobody can be asked from.
std::unique_ptr<Descriptor> OpenSocket(const std::string& from) {
    auto socket =
        std::make_unique<Descriptor>(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_in own = AddressOf(from, 0);
    if (socket->Get() < 0 ||
        ::bind(socket->Get(), reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
        ::setsockopt(socket->Get(), IPPROTO_IP, IP_MULTICAST_IF, &own.sin_addr, sizeof own.sin_addr) != 0) {
        return nullptr;
    }
    return socket;
}

std::string Decode(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto hex = [&](std::size_t at) {
            const char c = at < text.size() ? text[at] : ' ';
            return c >= '0' && c <= '9'   ? c - '0'
                   : c >= 'A' && c <= 'F' ? c - 'A' + 10
                   : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                          : -1;
        };
        if (text[i] == '%' && hex(i + 1) >= 0 && hex(i + 2) >= 0) {
            out += static_cast<char>(hex(i + 1) * 16 + hex(i + 2));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return PrintableUtf8(out, kMostScopeText);
}

// What stands behind the key in the first scope that has it.
std::string ScopeOf(const std::vector<std::string>& scopes, std::string_view key) {
    for (const std::string& scope : scopes) {
        const std::size_t at = scope.find(key);
        if (scope.starts_with("onvif://") && at != std::string::npos && at + key.size() < scope.size()) {
            return Decode(std::string_view(scope).substr(at + key.size()));
        }
    }
    return "";
}

// The camera at the address that it answered from, with port and path of one that it tells: of the same host
// if there is one. "" when it tells none.
std::string ChooseAddress(const std::vector<std::string>& told, const std::string& sender) {
    std::string chosen;
    for (const std::string& address : told) {
        try {
            const std::string good = DeviceAddress(address);
            if (HostOf(good) == sender) {
                return CameraUrlOf(good);
            }
            if (chosen.empty()) {
                chosen = CameraUrlOf(WithHost(good, sender));
            }
        } catch (const CameraError&) {
            // Another of them may be one.
        }
    }
    return chosen;
}

void AskDetails(FoundCamera& camera, const SearchSetup& setup, Clock::time_point until) {
    NetworkCamera login;
    login.url = camera.url;
    login.user = setup.user;
    login.password = setup.password;
    OnvifDevice device(login, [&] { return Clock::now() >= until || (setup.ended && setup.ended()); });
    device.Open();
    const OnvifInformation told = device.Information();
    camera.maker = told.maker.empty() ? camera.maker : told.maker;
    camera.model = told.model.empty() ? camera.model : told.model;
    for (const OnvifProfile& profile : device.Profiles()) {
        camera.streamUrls.push_back(device.StreamUrl(profile));
    }
}

void AskAllDetails(std::vector<FoundCamera>& found, const SearchSetup& setup) {
    const Clock::time_point until = Clock::now() + setup.details;
    std::atomic<std::size_t> next = 0;
    std::vector<std::thread> askers;
    for (std::size_t i = 0; i < std::min(kAskers, found.size()); ++i) {
        askers.emplace_back([&] {
            for (std::size_t at = next++; at < found.size() && Clock::now() < until; at = next++) {
                try {
                    AskDetails(found[at], setup, until);
                } catch (const std::exception&) {
                    // It tells that to those alone whom it knows.
                }
            }
        });
    }
    for (std::thread& asker : askers) {
        asker.join();
    }
}

void Receive(int socket, std::vector<char>& buffer, std::vector<FoundCamera>& found,
             std::vector<std::string>& endpoints) {
    while (true) {
        sockaddr_in sender{};
        socklen_t size = sizeof sender;
        const ssize_t count =
            ::recvfrom(socket, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&sender), &size);
        if (count < 0) {
            return;
        }
        std::array<char, INET_ADDRSTRLEN> text{};
        if (::inet_ntop(AF_INET, &sender.sin_addr, text.data(), text.size())) {
            AddFound({buffer.data(), static_cast<std::size_t>(count)}, text.data(), found, endpoints);
        }
    }
}

}  // namespace

void AddFound(std::string_view datagram, const std::string& sender, std::vector<FoundCamera>& found,
              std::vector<std::string>& endpoints) {
    try {
        const SoapDocument document(datagram);
        for (const ProbeMatch& match : ReadProbeMatches(document.Body())) {
            FoundCamera camera;
            camera.url = ChooseAddress(match.addresses, sender);
            if (camera.url.empty() || found.size() >= kMostFound) {
                continue;
            }
            const bool known =
                std::any_of(found.begin(), found.end(),
                            [&](const FoundCamera& other) { return other.url == camera.url; }) ||
                (!match.endpoint.empty() &&
                 std::find(endpoints.begin(), endpoints.end(), match.endpoint) != endpoints.end());
            if (known) {
                continue;
            }
            camera.host = HostOf(camera.url);
            camera.maker = ScopeOf(match.scopes, "/manufacturer/");
            camera.model = ScopeOf(match.scopes, "/hardware/");
            camera.name = ScopeOf(match.scopes, "/name/");
            found.push_back(std::move(camera));
            endpoints.push_back(match.endpoint);
        }
    } catch (const CameraError&) {
        // Whatever it was, it is no answer.
    }
}

std::vector<FoundCamera> SearchCameras(const SearchSetup& setup) {
    std::vector<std::unique_ptr<Descriptor>> sockets;
    std::vector<std::string> from = setup.from;
    if (from.empty()) {
        from = setup.at.empty() ? OwnAddresses() : std::vector<std::string>{"0.0.0.0"};
    }
    for (const std::string& address : from) {
        if (auto socket = OpenSocket(address)) {
            sockets.push_back(std::move(socket));
        }
    }
    if (sockets.empty()) {
        throw CameraError("there is no network to ask on");
    }
    const sockaddr_in to = AddressOf(setup.at.empty() ? kGroup : setup.at, setup.port);
    std::vector<FoundCamera> found;
    std::vector<std::string> endpoints;
    std::vector<char> buffer(kLargestAnswer);
    const Clock::time_point begin = Clock::now();
    std::size_t round = 0;
    while (Clock::now() < begin + setup.time && !(setup.ended && setup.ended())) {
        if (round < kRounds.size() && Clock::now() >= begin + kRounds[round]) {
            ++round;
            for (const auto& socket : sockets) {
                for (const auto& [space, type] : kTypes) {
                    const std::string probe = MakeProbe(space, type);
                    ::sendto(socket->Get(), probe.data(), probe.size(), 0,
                             reinterpret_cast<const sockaddr*>(&to), sizeof to);
                }
            }
        }
        std::vector<pollfd> waits;
        waits.reserve(sockets.size());
        for (const auto& socket : sockets) {
            waits.push_back({socket->Get(), POLLIN, 0});
        }
        ::poll(waits.data(), waits.size(), 50);
        for (const pollfd& wait : waits) {
            Receive(wait.fd, buffer, found, endpoints);
        }
    }
    AskAllDetails(found, setup);
    std::sort(found.begin(), found.end(),
              [](const FoundCamera& a, const FoundCamera& b) { return a.url < b.url; });
    return found;
}

}  // namespace kvrecorder
