#include "cameras/back_channel.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <random>

#include "cameras/camera_words.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr const char* kRequire = "Require: www.onvif.org/ver20/backchannel\r\n";
constexpr const char* kAccept = "Accept: application/sdp\r\n";
constexpr int kFound = 200;
constexpr int kNoPath = 404;
constexpr int kOtherTransport = 461;
constexpr int kUnknownWay = 551;

constexpr std::size_t kPieceHead = 4;
constexpr std::size_t kPacketHead = 12;
constexpr std::size_t kSamples = 160;  // of a usual packet
// More of them are not given to a connection that does not take them along.
constexpr std::size_t kMostOutstanding = 15 * kSamples;
constexpr milliseconds kFarewell{500};
constexpr int kPortTries = 20;

void Check(const RtspReply& reply) {
    if (reply.status == kNoPath) {
        throw CameraError(words::kNoPath);
    }
    if (reply.status != kFound) {
        throw CameraError("the camera refuses what is said to it, with the status " +
                          std::to_string(reply.status));
    }
}

// The address that what is told of the streams stands below.
std::string BaseOf(const RtspReply& reply, const std::string& url) {
    for (const char* name : {"content-base", "content-location"}) {
        const std::string told = reply.Header(name);
        const bool plain = std::none_of(told.begin(), told.end(), [](char c) {
            return static_cast<unsigned char>(c) <= ' ' || c == 127;
        });
        if (told.starts_with("rtsp") && plain) {
            return told;
        }
    }
    return url;
}

// The number behind "name=" in "a;name=1-2"; -1 if there is none.
int ParameterOf(std::string_view text, std::string_view name) {
    const std::size_t at = text.find(";" + std::string(name) + "=");
    int number = -1;
    if (at != std::string_view::npos) {
        text.remove_prefix(at + name.size() + 2);
        std::from_chars(text.data(), text.data() + text.size(), number);
    }
    return number;
}

std::uint32_t Draw() {
    std::random_device source;
    return source();
}

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

}  // namespace

CameraOffer AskOffer(const NetworkCamera& camera, const std::string& url, const std::function<bool()>& ended,
                     std::chrono::steady_clock::time_point until) {
    RtspLink link(camera, url, ended, until);
    RtspReply reply = link.Ask("DESCRIBE", url, std::string(kAccept) + kRequire, until);
    if (reply.status == kFound) {
        const SdpOffer offer = ReadSdp(reply.body);
        return {offer.sound, offer.speech.has_value()};
    }
    // It knows no way back, in whichever words.
    reply = link.Ask("DESCRIBE", url, kAccept, until);
    if (reply.status != kFound) {
        throw CameraError(reply.status == kNoPath ? words::kNoPath : words::kRefuses);
    }
    return {ReadSdp(reply.body).sound, false};
}

BackChannel::BackChannel(const NetworkCamera& camera, const std::string& url,
                         const std::function<bool()>& ended, TimePoint until)
    : m_link(camera, url, ended, until), m_url(url), m_source(Draw()), m_firstStamp(Draw()) {
    const RtspReply reply = m_link.Ask("DESCRIBE", url, std::string(kAccept) + kRequire, until);
    const SdpOffer offer = reply.status == kFound ? ReadSdp(reply.body) : SdpOffer{};
    if (reply.status != kUnknownWay) {
        Check(reply);
    }
    if (!offer.speech) {
        throw CameraError(words::kPlaysNothing);
    }
    m_speech = *offer.speech;
    const std::string below = BaseOf(reply, url);
    m_base = JoinControl(below, offer.control);
    m_speech.control = JoinControl(below, m_speech.control);
    SetUp(camera.overUdp, until);
    Check(m_link.Ask("PLAY", m_base, "Session: " + m_session + "\r\n" + kRequire, until));
    m_said = Clock::now();
}

BackChannel::~BackChannel() {
    try {
        m_link.Ask("TEARDOWN", m_base, "Session: " + m_session + "\r\n" + kRequire, Clock::now() + kFarewell);
    } catch (const std::exception&) {
        // It finds the connection closed.
    }
}

// In the wanted way, or in the other one.
void BackChannel::SetUp(bool datagrams, TimePoint until) {
    for (const bool turn : {datagrams, !datagrams}) {
        std::string transport = "RTP/AVP/TCP;unicast;interleaved=0-1";
        if (turn) {
            const int port = OpenDatagrams();
            transport =
                "RTP/AVP;unicast;client_port=" + std::to_string(port) + "-" + std::to_string(port + 1);
        }
        const RtspReply reply =
            m_link.Ask("SETUP", m_speech.control, "Transport: " + transport + "\r\n" + kRequire, until);
        if (reply.status == kOtherTransport && turn == datagrams) {
            m_datagrams.reset();
            m_reports.reset();
            continue;
        }
        Check(reply);
        m_session = FirstPart(reply.Header("session"));
        if (const int told = ParameterOf(reply.Header("session"), "timeout"); told > 0) {
            m_alive = seconds(std::clamp(told, 4, 3600));
        }
        if (m_session.empty()) {
            throw CameraError(words::kNotUnderstood);
        }
        ReadTransport(reply.Header("transport"));
        return;
    }
}

void BackChannel::ReadTransport(const std::string& transport) {
    if (!m_datagrams) {
        m_channel = std::clamp(ParameterOf(transport, "interleaved"), 0, 255);
        return;
    }
    const int port = ParameterOf(transport, "server_port");
    Address peer;
    if (port < 1 || port > 65534 || ::getpeername(m_link.Socket(), peer.Get(), &peer.size) != 0) {
        throw CameraError(words::kNotUnderstood);
    }
    peer.SetPort(port);
    if (::connect(m_datagrams->Get(), peer.Get(), peer.size) != 0) {
        throw CameraError(words::kNoWay);
    }
}

// Two ports side by side, the first one even; gives that.
int BackChannel::OpenDatagrams() {
    for (int turn = 0; turn < kPortTries; ++turn) {
        Address own;
        if (::getsockname(m_link.Socket(), own.Get(), &own.size) != 0) {
            break;
        }
        const auto open = [&own](int port) {
            own.SetPort(port);
            Descriptor opened(::socket(own.bytes.ss_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            const bool bound = opened.Get() >= 0 && ::bind(opened.Get(), own.Get(), own.size) == 0 &&
                               ::getsockname(opened.Get(), own.Get(), &own.size) == 0;
            return bound ? std::optional<Descriptor>(std::move(opened)) : std::nullopt;
        };
        auto first = open(0);
        const int port = own.Port();
        auto second = first && port % 2 == 0 && port < 65535 ? open(port + 1) : std::nullopt;
        if (first && second) {
            m_datagrams.emplace(std::move(*first));
            m_reports.emplace(std::move(*second));
            return port;
        }
    }
    throw CameraError("there is no port for what is said to the camera");
}

std::size_t BackChannel::Outstanding() const {
    return m_datagrams ? 0 : m_link.Outstanding() * kSamples / (kPieceHead + kPacketHead + kSamples);
}

bool BackChannel::Send(std::span<const std::uint8_t> coded, std::uint32_t stamp, bool begins) {
    if (!m_datagrams && (!m_link.Flush() || Outstanding() >= kMostOutstanding)) {
        return false;
    }
    std::string packet;
    const auto add = [&packet](std::uint32_t value, int bytes) {
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
            packet.push_back(static_cast<char>(value >> shift & 0xFF));
        }
    };
    if (!m_datagrams) {
        packet.push_back('$');
        add(static_cast<std::uint32_t>(m_channel), 1);
        add(static_cast<std::uint32_t>(kPacketHead + coded.size()), 2);
    }
    add(0x80, 1);  // the second version, and nothing beside the usual
    add(static_cast<std::uint32_t>(m_speech.payload) | (begins ? 0x80U : 0U), 1);
    add(m_number++, 2);
    add(m_firstStamp + stamp, 4);
    add(m_source, 4);
    packet.append(coded.begin(), coded.end());
    if (m_datagrams) {
        ::send(m_datagrams->Get(), packet.data(), packet.size(), MSG_NOSIGNAL);
    } else {
        m_link.Write(packet);
    }
    return true;
}

void BackChannel::Keep() {
    m_link.Drain();
    if (m_link.Flush() && Clock::now() - m_said > m_alive / 2) {
        m_said = Clock::now();
        m_link.Say("OPTIONS", m_url, "Session: " + m_session + "\r\n");
    }
}

}  // namespace kvrecorder
