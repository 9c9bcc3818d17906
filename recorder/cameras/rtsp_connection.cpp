#include "cameras/rtsp_connection.h"

#include <poll.h>

#include <algorithm>
#include <thread>

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;

// The largest packet and much of what comes behind it.
constexpr std::size_t kBuffer = 128 << 10;
// Whoever waits is asked so often whether he still does.
constexpr milliseconds kLongestPoll{100};
// A net brings a picture in many small pieces, of which each would wake the thread.
constexpr std::chrono::microseconds kGather{1'000};
constexpr int kMostReplies = 8;
// Of two kinds of media, and of cameras that choose others than they were asked for.
constexpr int kMostChannels = 8;

}  // namespace

RtspConnection::RtspConnection(const NetworkCamera& camera, const std::string& url, InputLimit& limit)
    : m_limit(limit),
      m_line(
          url, camera.certificate, [&limit] { return limit.Ended(); }, limit.Until()),
      m_login(camera.user, camera.password),
      m_buffer(kBuffer) {}

void RtspConnection::CheckLimit() const {
    if (m_limit.IsOver()) {
        throw CameraError(m_isOpen ? FaultCode::PicturesStopped : FaultCode::NoAnswer);
    }
    if (m_limit.Ended()) {
        throw CameraError(FaultCode::Closed);
    }
}

void RtspConnection::WaitForBytes() const {
    pollfd waited{m_line.Socket(), POLLIN, 0};
    do {
        CheckLimit();  // also of a camera that lets nobody wait
    } while (::poll(&waited, 1, static_cast<int>(kLongestPoll.count())) <= 0);
}

void RtspConnection::Tell(std::string_view method, const std::string& url, std::string_view fields) {
    std::string request = std::string(method) + " " + url +
                          " RTSP/1.0\r\nCSeq: " + std::to_string(++m_sequence) +
                          "\r\nUser-Agent: kvrecorder\r\n" + std::string(fields);
    AppendSecret(request, m_login.Line(method, url).View());
    AppendSecret(request, "\r\n");
    // It is far less than the system takes at once.
    const bool whole = m_line.Write(request) == request.size();
    Wipe(request);
    if (!whole) {
        throw CameraError(FaultCode::Closed);
    }
}

RtspReply RtspConnection::Ask(std::string_view method, const std::string& url, std::string_view fields) {
    while (true) {
        Tell(method, url, fields);
        RtspReply reply = ReadReply();
        if (!Judge(reply.head)) {
            return reply;
        }
    }
}

bool RtspConnection::Judge(const RtspHead& head) {
    switch (m_login.Judge(head)) {
        case RtspLogin::Verdict::Again:
            return true;
        case RtspLogin::Verdict::WantsUser:
            throw CameraError(FaultCode::LoginWanted);
        case RtspLogin::Verdict::Refuses:
            throw CameraError(FaultCode::LoginRefused);
        case RtspLogin::Verdict::NotKnown:
            throw StrangeRtsp();
        case RtspLogin::Verdict::GoesOn:
            break;
    }
    if (head.status >= 200 && head.status < 300) {
        return false;
    }
    switch (head.status) {
        case 403:
            throw CameraError(!m_login.HasUser() ? FaultCode::LoginWanted : FaultCode::LoginRefused);
        case 404:
            throw CameraError(FaultCode::PathUnknown);
        default:
            if (head.status >= 500 || head.status == 400) {
                throw CameraError(FaultCode::PicturesRefused);
            }
            throw StrangeRtsp();
    }
}

RtspReply RtspConnection::ReadReply() {
    for (int others = 0; others < kMostReplies;) {
        const RtspItem* const item = NextItem();
        if (!item) {
            Receive(false);
            continue;
        }
        if (item->isPacket || item->head.status == 0) {
            others += item->isPacket ? 0 : 1;
            DropItem();
            continue;
        }
        RtspReply reply{item->head, {item->bytes.begin(), item->bytes.end()}};
        DropItem();
        return reply;
    }
    throw StrangeRtsp();
}

const RtspItem* RtspConnection::NextItem() {
    if (m_item) {
        return &*m_item;
    }
    const auto rest = std::span(m_buffer).subspan(m_begin, m_end - m_begin);
    const std::size_t skipped = SkipToRtspItem(rest, kMostChannels);
    m_begin += skipped;
    m_item = ReadRtspItem(rest.subspan(skipped));
    return m_item ? &*m_item : nullptr;
}

void RtspConnection::DropItem() {
    m_begin += m_item ? m_item->size : 0;
    m_item.reset();
}

void RtspConnection::Receive(bool gather) {
    if (gather) {
        std::this_thread::sleep_for(kGather);
    }
    if (m_begin > 0) {
        std::copy(m_buffer.begin() + static_cast<std::ptrdiff_t>(m_begin),
                  m_buffer.begin() + static_cast<std::ptrdiff_t>(m_end), m_buffer.begin());
        m_end -= m_begin;
        m_begin = 0;
    }
    while (true) {
        // What is encrypted comes in blocks, of which a part may be here already.
        if (!m_line.IsEncrypted()) {
            WaitForBytes();
        }
        const std::size_t size =
            m_line.Read(reinterpret_cast<char*>(m_buffer.data()) + m_end, m_buffer.size() - m_end);
        if (size > 0) {
            CheckLimit();
            m_end += size;
            return;
        }
        WaitForBytes();
    }
}

}  // namespace kvrecorder
