#include "web/host/web_socket.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QtCore/QDeadlineTimer>
#include <QtCore/QSocketNotifier>
#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/text.h"

namespace kvmon {

namespace {

constexpr int kCloseWaitMs = 1000;
constexpr std::size_t kReadSize = 64 * 1024;
// What the system keeps is kept beyond reach of "the newest picture only": a few pictures at most.
constexpr int kSendBuffer = 256 * 1024;

qint64 NowMs() {
    return QDeadlineTimer::current().deadline();
}

}  // namespace

WebSocket::WebSocket(int fd, std::string_view key, Listener listener, int pingMs)
    : m_fd(fd), m_listener(std::move(listener)), m_budgetTime(NowMs()) {
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);  // it ends with this object, whatever the process has started
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof(kSendBuffer));
    m_readable = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
    m_writable = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Write);
    m_writable->setEnabled(false);
    connect(m_readable.get(), &QSocketNotifier::activated, this, [this] { OnReadable(); });
    connect(m_writable.get(), &QSocketNotifier::activated, this, [this] { OnWritable(); });
    m_closeTimer.setSingleShot(true);
    connect(&m_closeTimer, &QTimer::timeout, this, [this] { End(); });
    m_restTimer.setSingleShot(true);
    connect(&m_restTimer, &QTimer::timeout, this, [this] { HandleMessages(); });
    connect(&m_pingTimer, &QTimer::timeout, this, [this] {
        if (!m_bPingAnswered) {
            End();
            return;
        }
        m_bPingAnswered = false;
        Queue(WsFrameHead(WsOpcode::Ping, 0));
    });
    m_pingTimer.start(pingMs);
    const std::string answer = FormatText(
        "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Accept: %s\r\n\r\n",
        WsAcceptKey(key).c_str());
    Queue({answer.begin(), answer.end()});
}

WebSocket::~WebSocket() {
    m_listener = {};
    Close(WsClose::GoingAway);
    if (IsOpen()) {
        OnWritable();
    }
    End();
}

void WebSocket::SendText(std::string_view text) {
    if (m_bClosing) {
        return;
    }
    std::vector<std::uint8_t> frame = WsFrameHead(WsOpcode::Text, text.size());
    frame.insert(frame.end(), text.begin(), text.end());
    Queue(std::move(frame));
}

void WebSocket::SendBinary(std::vector<std::uint8_t> payload) {
    if (m_bClosing) {
        return;
    }
    Queue(WsFrameHead(WsOpcode::Binary, payload.size()));
    Queue(std::move(payload));
}

void WebSocket::Close(WsClose why) {
    if (m_bClosing || !IsOpen()) {
        return;
    }
    m_bClosing = true;
    std::vector<std::uint8_t> frame = WsFrameHead(WsOpcode::Close, 2);
    frame.push_back(static_cast<std::uint8_t>(static_cast<unsigned>(why) >> 8));
    frame.push_back(static_cast<std::uint8_t>(why));
    Queue(std::move(frame));
    m_closeTimer.start(kCloseWaitMs);
}

void WebSocket::Queue(std::vector<std::uint8_t> bytes) {
    if (!IsOpen() || bytes.empty()) {
        return;
    }
    m_pendingBytes += bytes.size();
    m_pending.push_back(std::move(bytes));
    if (m_pendingBytes > kMaxPending || m_pending.size() > kMaxPendingParts) {
        // The listener may be the caller: it hears of it when it has returned.
        m_bClosing = true;
        m_closeTimer.start(0);
        return;
    }
    // Frames of one turn of the event loop go out together.
    m_writable->setEnabled(true);
}

void WebSocket::OnWritable() {
    while (!m_pending.empty()) {
        const std::vector<std::uint8_t>& first = m_pending.front();
        const ssize_t sent =
            ::send(m_fd, first.data() + m_firstSent, first.size() - m_firstSent, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno != EAGAIN && errno != EINTR) {
                End();
            }
            return;
        }
        m_firstSent += static_cast<std::size_t>(sent);
        m_pendingBytes -= static_cast<std::size_t>(sent);
        if (m_firstSent < first.size()) {
            return;
        }
        m_pending.pop_front();
        m_firstSent = 0;
    }
    m_writable->setEnabled(false);
    if (m_listener.onDrained) {
        m_listener.onDrained();
    }
}

void WebSocket::OnReadable() {
    std::array<std::uint8_t, kReadSize> bytes;
    const ssize_t count = ::recv(m_fd, bytes.data(), bytes.size(), 0);
    if (count <= 0) {
        if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
            End();
        }
        return;
    }
    m_reader.Feed(std::span(bytes).first(static_cast<std::size_t>(count)));
    HandleMessages();
}

void WebSocket::HandleMessages() {
    WsFrameReader::Message message;
    while (IsOpen()) {
        switch (m_reader.Next(message)) {
            case WsFrameReader::Result::NeedMore:
                m_restTimer.stop();
                return;
            case WsFrameReader::Result::Failed:
                m_restTimer.stop();
                m_readable->setEnabled(false);
                Close(m_reader.Failure());
                return;
            case WsFrameReader::Result::Message:
                // Should the listener handle events before it returns, the rest is handled from there.
                m_restTimer.start(0);
                Handle(message);
                break;
        }
    }
}

bool WebSocket::TakeFromBudget() {
    const qint64 now = NowMs();
    m_budget = std::min<double>(kMessageBurst,
                                m_budget + static_cast<double>(now - m_budgetTime) * kMessageRate / 1000);
    m_budgetTime = now;
    if (m_budget < 1) {
        return false;
    }
    m_budget -= 1;
    return true;
}

void WebSocket::Handle(const WsFrameReader::Message& message) {
    if (m_bClosing && message.opcode != WsOpcode::Close) {
        return;
    }
    if (!TakeFromBudget()) {
        Close(WsClose::Refused);
        return;
    }
    switch (message.opcode) {
        case WsOpcode::Text:
            if (m_listener.onText) {
                m_listener.onText(
                    {reinterpret_cast<const char*>(message.payload.data()), message.payload.size()});
            }
            break;
        case WsOpcode::Binary:
            if (m_listener.onBinary) {
                m_listener.onBinary(message.payload);
            }
            break;
        case WsOpcode::Ping: {
            std::vector<std::uint8_t> frame = WsFrameHead(WsOpcode::Pong, message.payload.size());
            frame.insert(frame.end(), message.payload.begin(), message.payload.end());
            Queue(std::move(frame));
            break;
        }
        case WsOpcode::Pong:
            m_bPingAnswered = true;
            break;
        default:
            Close(WsClose::Normal);
            m_closeTimer.start(0);  // both sides have said it
            OnWritable();
            break;
    }
}

void WebSocket::End() {
    if (m_fd < 0) {
        return;
    }
    m_readable->setEnabled(false);
    m_writable->setEnabled(false);
    m_closeTimer.stop();
    m_pingTimer.stop();
    m_restTimer.stop();
    ::close(std::exchange(m_fd, -1));
    m_pending.clear();
    m_pendingBytes = 0;
    if (m_listener.onClosed) {
        m_listener.onClosed();
    }
}

}  // namespace kvmon
