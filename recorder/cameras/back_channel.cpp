#include "cameras/back_channel.h"

#include <algorithm>
#include <random>

#include "cameras/camera_error.h"
#include "cameras/camera_url.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr const char* kRequire = "Require: www.onvif.org/ver20/backchannel\r\n";
constexpr const char* kAccept = "Accept: application/sdp\r\n";
constexpr int kAccepted = 200;
constexpr int kNoPath = 404;
constexpr int kOtherTransport = 461;
constexpr int kUnknownWay = 551;

constexpr std::size_t kPieceHead = 4;
constexpr std::size_t kPacketHead = 12;
constexpr std::size_t kSamples = 160;  // of a usual packet
// More of them are not given to a connection that does not take them along.
constexpr std::size_t kMostOutstanding = 15 * kSamples;
constexpr milliseconds kFarewell{500};
// Of what comes of the pictures, where they have to be played.
constexpr int kUnseenChannel = 2;

void Check(const RtspReply& reply) {
    if (reply.head.status == kNoPath) {
        throw CameraError(FaultCode::PathUnknown);
    }
    if (reply.head.status != kAccepted) {
        throw CameraError("the camera refuses what is said to it, with the status " +
                          std::to_string(reply.head.status));
    }
}

std::uint32_t Draw() {
    std::random_device source;
    return source();
}

}  // namespace

CameraOffer AskOffer(const NetworkCamera& camera, const std::string& url, const std::function<bool()>& ended,
                     std::chrono::steady_clock::time_point until) {
    RtspLink link(camera, url, ended, until);
    RtspReply reply = link.Ask("DESCRIBE", url, std::string(kAccept) + kRequire, until);
    if (reply.head.status == kAccepted) {
        const RtspDescription description = ReadRtspDescription(reply.body);
        return {OffersSound(description), FindSpeech(description).has_value()};
    }
    // It knows no way back, in whichever words.
    reply = link.Ask("DESCRIBE", url, kAccept, until);
    if (reply.head.status != kAccepted) {
        throw CameraError(reply.head.status == kNoPath ? FaultCode::PathUnknown : FaultCode::PicturesRefused);
    }
    return {OffersSound(ReadRtspDescription(reply.body)), false};
}

BackChannel::BackChannel(const NetworkCamera& camera, const std::string& url,
                         const std::function<bool()>& ended, TimePoint until)
    : m_link(camera, url, ended, until), m_url(url), m_source(Draw()), m_firstStamp(Draw()) {
    const RtspReply reply = m_link.Ask("DESCRIBE", url, std::string(kAccept) + kRequire, until);
    const RtspDescription description =
        reply.head.status == kAccepted ? ReadRtspDescription(reply.body) : RtspDescription{};
    const auto speech = FindSpeech(description);
    if (reply.head.status != kUnknownWay) {
        Check(reply);
    }
    if (!speech) {
        throw CameraError(kPlaysNothing);
    }
    m_speech = *speech;
    const std::string below = BaseOfControls(reply.head, url);
    m_base = JoinRtspUrl(below, description.control);
    m_speech.control = JoinRtspUrl(below, m_speech.control);
    const auto pictures =
        std::find_if(description.media.begin(), description.media.end(),
                     [](const RtspMedia& media) { return media.isVideo && media.IsFromCamera(); });
    RtspReply answer = Open(camera.overUdp, "", until);
    if (answer.head.status != kAccepted && answer.head.status != kNoPath &&
        pictures != description.media.end()) {
        // Some play nothing unless their pictures are played in the same session. Nobody looks at these.
        RtspReply other = Open(camera.overUdp, JoinRtspUrl(below, pictures->control), until);
        answer = other.head.status == kAccepted ? std::move(other) : std::move(answer);
    }
    Check(answer);
    m_said = Clock::now();
}

BackChannel::~BackChannel() {
    try {
        Close(Clock::now() + kFarewell);
    } catch (const std::exception&) {
        // It finds the connection closed.
    }
}

void BackChannel::Close(TimePoint until) {
    if (!m_session.empty()) {
        m_link.Ask("TEARDOWN", m_base, SessionLine() + kRequire, until);
        m_session.clear();
    }
    m_datagrams.reset();
    m_unseen.reset();
}

// In the wanted way or, where the camera knows only that, in the other one. Gives the answer to PLAY, or the
// one that refused before.
RtspReply BackChannel::Open(bool datagrams, const std::string& pictures, TimePoint until) {
    // Datagrams would go unencrypted.
    const bool isEncrypted = IsEncryptedUrl(m_url);
    RtspReply reply = OpenBy(datagrams && !isEncrypted, pictures, until);
    return reply.head.status == kOtherTransport && !isEncrypted ? OpenBy(!datagrams, pictures, until)
                                                                : std::move(reply);
}

RtspReply BackChannel::OpenBy(bool datagrams, const std::string& pictures, TimePoint until) {
    Close(until);
    if (!pictures.empty()) {
        RtspReply reply = SetUp(pictures, kUnseenChannel, datagrams ? &m_unseen : nullptr, until);
        if (reply.head.status != kAccepted) {
            return reply;
        }
    }
    RtspReply reply = SetUp(m_speech.control, 0, datagrams ? &m_datagrams : nullptr, until);
    if (reply.head.status != kAccepted) {
        return reply;
    }
    if (!m_datagrams) {
        m_channel =
            std::clamp(NumberOfPart(reply.head.Field("Transport"), "interleaved").value_or(0), 0, 255);
    } else if (!m_datagrams->SendTo(m_link.Socket(),
                                    NumberOfPart(reply.head.Field("Transport"), "server_port").value_or(0))) {
        throw CameraError(FaultCode::NotUnderstood);
    }
    return m_link.Ask("PLAY", m_base, SessionLine() + kRequire, until);
}

// `datagrams`: gets the ports that one kind of media goes by.
RtspReply BackChannel::SetUp(const std::string& control, int channel, std::optional<DatagramPair>* datagrams,
                             TimePoint until) {
    std::string transport =
        "RTP/AVP/TCP;unicast;interleaved=" + std::to_string(channel) + "-" + std::to_string(channel + 1);
    if (datagrams != nullptr) {
        auto made = DatagramPair::Beside(m_link.Socket());
        if (!made) {
            throw CameraError("there is no port for what is said to the camera");
        }
        datagrams->emplace(std::move(*made));
        const int port = (*datagrams)->Port();
        transport = "RTP/AVP;unicast;client_port=" + std::to_string(port) + "-" + std::to_string(port + 1);
    }
    RtspReply reply =
        m_link.Ask("SETUP", control, "Transport: " + transport + "\r\n" + SessionLine() + kRequire, until);
    if (reply.head.status != kAccepted) {
        return reply;
    }
    if (const auto told = NumberOfPart(reply.head.Field("Session"), "timeout")) {
        m_alive = seconds(std::clamp(*told, 4, 3600));
    }
    if (const std::string session = FirstPart(reply.head.Field("Session")); !session.empty()) {
        m_session = session;
    }
    if (m_session.empty()) {
        throw CameraError(FaultCode::NotUnderstood);
    }
    return reply;
}

std::string BackChannel::SessionLine() const {
    return m_session.empty() ? "" : "Session: " + m_session + "\r\n";
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
        m_datagrams->Send(packet);
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
        m_link.Say("OPTIONS", m_url, SessionLine());
    }
}

}  // namespace kvrecorder
