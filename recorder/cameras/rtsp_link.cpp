#include "cameras/rtsp_link.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// How soon a wait ends when it is to.
constexpr milliseconds kLinkLook{50};
// Of a camera that sends without end, as pictures that nobody looks at.
constexpr int kMostReads = 64;
constexpr std::size_t kRead = 16 << 10;

}  // namespace

RtspLink::RtspLink(const NetworkCamera& camera, const std::string& url, std::function<bool()> ended,
                   TimePoint until)
    : m_ended(std::move(ended)),
      m_line(url, camera.certificate, m_ended, until),
      m_login(camera.user, camera.password) {}

std::string RtspLink::Compose(const std::string& method, const std::string& url, const std::string& headers) {
    std::string text = method + " " + url + " RTSP/1.0\r\nCSeq: " + std::to_string(++m_sequence) +
                       "\r\nUser-Agent: kvrecorder\r\n" + headers;
    AppendSecret(text, m_login.Line(method, url).View());
    AppendSecret(text, "\r\n");
    return text;
}

RtspReply RtspLink::Ask(const std::string& method, const std::string& url, const std::string& headers,
                        TimePoint until) {
    while (true) {
        Say(method, url, headers);
        const int sequence = m_sequence;
        while (!Flush()) {
            CheckLimit(until);
            Wait(POLLOUT, until);
        }
        std::optional<RtspReply> reply;
        while (!reply || (reply->head.Sequence() != sequence && reply->head.Sequence() >= 0)) {
            CheckLimit(until);
            reply = m_replies.Next();
            if (!reply && !Read()) {
                Wait(POLLIN, until);
            }
        }
        switch (m_login.Judge(reply->head)) {
            case RtspLogin::Verdict::GoesOn:
                return std::move(*reply);
            case RtspLogin::Verdict::Again:
                break;
            case RtspLogin::Verdict::WantsUser:
                throw CameraError(FaultCode::LoginWanted);
            case RtspLogin::Verdict::Refuses:
            case RtspLogin::Verdict::NotKnown:
                throw CameraError(FaultCode::LoginRefused);
        }
    }
}

void RtspLink::Say(const std::string& method, const std::string& url, const std::string& headers) {
    std::string text = Compose(method, url, headers);
    Write(text);
    Wipe(text);
}

void RtspLink::Write(std::string_view bytes) {
    AppendSecret(m_kept, bytes);
    Flush();
}

bool RtspLink::Flush() {
    while (!m_kept.empty()) {
        const std::size_t written = m_line.Write(m_kept);
        if (written == 0) {
            return false;
        }
        m_kept.erase(0, written);
    }
    return true;
}

std::size_t RtspLink::Outstanding() const {
    int bytes = 0;
    return ::ioctl(m_line.Socket(), SIOCOUTQ, &bytes) == 0 && bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
}

bool RtspLink::Drain() {
    bool again = false;
    for (int turn = 0; turn < kMostReads && Read(); ++turn) {
        while (const auto reply = m_replies.Next()) {
            again = m_login.Judge(reply->head) == RtspLogin::Verdict::Again || again;
        }
    }
    return again;
}

// What is there; false if nothing is.
bool RtspLink::Read() {
    std::array<char, kRead> buffer;
    const std::size_t read = m_line.Read(buffer.data(), buffer.size());
    m_replies.Add({buffer.data(), read});
    return read > 0;
}

void RtspLink::CheckLimit(TimePoint until) const {
    if (m_ended()) {
        throw CameraError(FaultCode::Closed);
    }
    if (Clock::now() >= until) {
        throw CameraError(FaultCode::NoAnswer);
    }
}

void RtspLink::Wait(short events, TimePoint until) const {
    const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
    pollfd waited{m_line.Socket(), events, 0};
    ::poll(&waited, 1, static_cast<int>(std::clamp(left, milliseconds(0), kLinkLook).count()));
}

}  // namespace kvrecorder
