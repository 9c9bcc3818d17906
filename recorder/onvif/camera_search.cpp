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
#include <cstring>
#include <memory>
#include <optional>
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
constexpr const char* kGroupOfSix = "ff02::c";
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

// One of this machine's places on a network, and whom it asks.
struct Asker {
    Descriptor socket;
    sockaddr_storage to;
    socklen_t size;
};

const sockaddr* Plain(const sockaddr_storage& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}
socklen_t SizeOf(const sockaddr_storage& address) {
    return address.ss_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
}
void SetPort(sockaddr_storage& address, std::uint16_t port) {
    if (address.ss_family == AF_INET6) {
        reinterpret_cast<sockaddr_in6*>(&address)->sin6_port = htons(port);
    } else {
        reinterpret_cast<sockaddr_in*>(&address)->sin_port = htons(port);
    }
}
unsigned InterfaceOf(const sockaddr_storage& address) {
    return address.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6*>(&address)->sin6_scope_id : 0;
}
bool IsNear(const sockaddr_storage& address) {
    const auto& far = reinterpret_cast<const sockaddr_in6*>(&address)->sin6_addr;
    return IN6_IS_ADDR_LINKLOCAL(&far) || IN6_IS_ADDR_LOOPBACK(&far);
}

// All that can be asked from: networks that are up, and this machine itself. By IPv6 one place an interface
// is enough, from which all that is near is reached.
std::vector<sockaddr_storage> OwnPlaces() {
    std::vector<sockaddr_storage> places;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        return places;
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> keep(list, ::freeifaddrs);
    for (const ifaddrs* entry = list; entry && places.size() < 64; entry = entry->ifa_next) {
        if (!entry->ifa_addr || (entry->ifa_flags & IFF_UP) == 0 ||
            (entry->ifa_flags & (IFF_MULTICAST | IFF_LOOPBACK)) == 0) {
            continue;
        }
        sockaddr_storage place{};
        if (entry->ifa_addr->sa_family == AF_INET) {
            std::memcpy(&place, entry->ifa_addr, sizeof(sockaddr_in));
            places.push_back(place);
        } else if (entry->ifa_addr->sa_family == AF_INET6) {
            std::memcpy(&place, entry->ifa_addr, sizeof(sockaddr_in6));
            reinterpret_cast<sockaddr_in6*>(&place)->sin6_scope_id = ::if_nametoindex(entry->ifa_name);
            if (IsNear(place)) {
                places.push_back(place);
            }
        }
    }
    return places;
}

// Also of a name; "fe80::1%eth0" says the interface.
sockaddr_storage AddressOf(const std::string& host) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_DGRAM;
    addrinfo* list = nullptr;
    if (::getaddrinfo(host.c_str(), nullptr, &wanted, &list) != 0) {
        throw CameraError("the name of the host to ask is not known");
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> keep(list, ::freeaddrinfo);
    sockaddr_storage address{};
    std::memcpy(&address, list->ai_addr, std::min<std::size_t>(list->ai_addrlen, sizeof address));
    return address;
}

// Null where nobody can be asked from. `at`: who is asked in place of the group.
std::unique_ptr<Asker> OpenAsker(sockaddr_storage from, const std::optional<sockaddr_storage>& at,
                                 std::uint16_t port) {
    const bool isSix = from.ss_family == AF_INET6;
    auto asker = std::make_unique<Asker>(
        Asker{Descriptor(::socket(from.ss_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)), {}, 0});
    const int socket = asker->socket.Get();
    const unsigned interface = InterfaceOf(from);
    SetPort(from, 0);
    const auto& four = reinterpret_cast<const sockaddr_in*>(&from)->sin_addr;
    if (socket < 0 || ::bind(socket, Plain(from), SizeOf(from)) != 0 ||
        (isSix ? ::setsockopt(socket, IPPROTO_IPV6, IPV6_MULTICAST_IF, &interface, sizeof interface)
               : ::setsockopt(socket, IPPROTO_IP, IP_MULTICAST_IF, &four, sizeof four)) != 0) {
        return nullptr;
    }
    asker->to = at ? *at : AddressOf(isSix ? kGroupOfSix : kGroup);
    if (isSix && !at) {
        reinterpret_cast<sockaddr_in6*>(&asker->to)->sin6_scope_id = interface;
    }
    SetPort(asker->to, port);
    asker->size = SizeOf(asker->to);
    return asker;
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
                } catch (const LoginError& failure) {
                    // It tells that to those alone whom it knows.
                    found[at].trouble = setup.user.empty() ? Fault() : failure.Told();
                } catch (const CameraError& failure) {
                    found[at].trouble = failure.Told();
                } catch (const std::exception&) {
                    found[at].trouble = FaultCode::OutOfMemory;
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
        sockaddr_storage sender{};
        socklen_t size = sizeof sender;
        const ssize_t count =
            ::recvfrom(socket, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&sender), &size);
        if (count < 0) {
            return;
        }
        // With the interface, where an address means nothing without.
        std::array<char, NI_MAXHOST> text{};
        if (::getnameinfo(Plain(sender), size, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST) == 0) {
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
            const auto same = std::find_if(found.begin(), found.end(), [&](const FoundCamera& other) {
                return other.url == camera.url ||
                       (!match.endpoint.empty() &&
                        endpoints[static_cast<std::size_t>(&other - found.data())] == match.endpoint);
            });
            if (same != found.end()) {
                // Of two ways to one camera the one that is the same on every machine.
                if (same->host.find('%') != std::string::npos && sender.find('%') == std::string::npos) {
                    same->url = camera.url;
                    same->host = HostOf(camera.url);
                }
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
    std::optional<sockaddr_storage> at;
    std::vector<sockaddr_storage> places;
    if (!setup.at.empty()) {
        at = AddressOf(setup.at);
        places.push_back(AddressOf(at->ss_family == AF_INET6 ? "::" : "0.0.0.0"));
    } else if (setup.from.empty()) {
        places = OwnPlaces();
    }
    for (const std::string& address : setup.from) {
        places.push_back(AddressOf(address));
    }
    std::vector<std::unique_ptr<Asker>> askers;
    for (const sockaddr_storage& place : places) {
        if (auto asker = OpenAsker(place, at, setup.port)) {
            askers.push_back(std::move(asker));
        }
    }
    if (askers.empty()) {
        throw CameraError("there is no network to ask on");
    }
    std::vector<FoundCamera> found;
    std::vector<std::string> endpoints;
    std::vector<char> buffer(kLargestAnswer);
    const Clock::time_point begin = Clock::now();
    std::size_t round = 0;
    while (Clock::now() < begin + setup.time && !(setup.ended && setup.ended())) {
        if (round < kRounds.size() && Clock::now() >= begin + kRounds[round]) {
            ++round;
            for (const auto& asker : askers) {
                for (const auto& [space, type] : kTypes) {
                    const std::string probe = MakeProbe(space, type);
                    ::sendto(asker->socket.Get(), probe.data(), probe.size(), 0, Plain(asker->to),
                             asker->size);
                }
            }
        }
        std::vector<pollfd> waits;
        waits.reserve(askers.size());
        for (const auto& asker : askers) {
            waits.push_back({asker->socket.Get(), POLLIN, 0});
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
