#include "cameras/back_channel.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <random>

#include "cameras/camera_error.h"
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
    if (reply.head.status == kNoPath) {
        throw CameraError(words::kNoPath);
    }
    if (reply.head.status != kFound) {
        throw CameraError("the camera refuses what is said to it, with the status " +
                          std::to_string(reply.head.status));
    }
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
    if (reply.head.status == kFound) {
        const RtspDescription description = ReadRtspDescription(reply.body);
        return {OffersSound(description), FindSpeech(description).has_value()};
    }
    // It knows no way back, in whichever words.
    reply = link.Ask("DESCRIBE", url, kAccept, until);
    if (reply.head.status != kFound) {
        throw CameraError(reply.head.status == kNoPath ? words::kNoPath : words::kRefuses);
    }
    return {OffersSound(ReadRtspDescription(reply.body)), false};
}

BackChannel::BackChannel(const NetworkCamera& camera, const std::string& url,
                         const std::function<bool()>& ended, TimePoint until)
    : m_link(camera, url, ended, until), m_url(url), m_source(Draw()), m_firstStamp(Draw()) {
    const RtspReply reply = m_link.Ask("DESCRIBE", url, std::string(kAccept) + kRequire, until);
    const RtspDescription description =
        reply.head.status == kFound ? ReadRtspDescription(reply.body) : RtspDescription{};
    const auto speech = FindSpeech(description);
    if (reply.head.status != kUnknownWay) {
        Check(reply);
    }
    if (!speech) {
        throw CameraError(words::kPlaysNothing);
    }
    m_speech = *speech;
    const std::string below = BaseOfControls(reply.head, url);
    m_base = JoinRtspUrl(below, description.control);
    m_speech.control = JoinRtspUrl(below, m_speech.control);
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
        if (reply.head.status == kOtherTransport && turn == datagrams) {
            m_datagrams.reset();
            m_reports.reset();
            continue;
        }
        Check(reply);
        m_session = FirstPart(reply.head.Field("Session"));
        if (const auto told = NumberOfPart(reply.head.Field("Session"), "timeout")) {
            m_alive = seconds(std::clamp(*told, 4, 3600));
        }
        if (m_session.empty()) {
            throw CameraError(words::kNotUnderstood);
        }
        ReadTransport(reply.head.Field("Transport"));
        return;
    }
}

void BackChannel::ReadTransport(std::string_view transport) {
    if (!m_datagrams) {
        m_channel = std::clamp(NumberOfPart(transport, "interleaved").value_or(0), 0, 255);
        return;
    }
    const int port = NumberOfPart(transport, "server_port").value_or(0);
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
    if (m_link.Drain()) {
        m_said = Clock::now() - m_alive;  // which was not taken
    }
    if (m_link.Flush() && Clock::now() - m_said > m_alive / 2) {
        m_said = Clock::now();
        m_link.Say("OPTIONS", m_url, "Session: " + m_session + "\r\n");
    }
}

}  // namespace kvrecorder
