// A page's WebSocket on a connected socket.
#pragma once

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <deque>
#include <functional>
#include <memory>
#include <string_view>

#include "web/host/web_socket_frames.h"

class QSocketNotifier;

namespace kvmon {

// One thread, with an event loop. Never waits: what the socket does not take is kept, and PendingBytes tells
// how much that is, for the user to hold back.
class WebSocket final : public QObject {
public:
    static constexpr std::size_t kMaxMessage = 256 * 1024;
    // How many messages a page may send: in a second on the average, and at once.
    static constexpr int kMessageRate = 600;
    static constexpr int kMessageBurst = 1200;
    // A page that lets more than this wait is gone or hostile.
    static constexpr std::size_t kMaxPending = 32 * 1024 * 1024;
    static constexpr std::size_t kMaxPendingParts = 64 * 1024;

    // A page that has not answered a ping when the next one is due is gone, whatever the network says.
    static constexpr int kPingMs = 15000;

    struct Listener {
        std::function<void(std::string_view)> onText;
        std::function<void(std::span<const std::uint8_t>)> onBinary;
        std::function<void()> onClosed;   // the last call
        std::function<void()> onDrained;  // all that was kept has gone
    };

    // Takes the descriptor, and answers the handshake with this key.
    WebSocket(int fd, std::string_view key, Listener listener, int pingMs = kPingMs);
    // Takes leave of the page: what was sent before and the system takes now still arrives.
    ~WebSocket() override;

    void SendText(std::string_view text);
    void SendBinary(std::vector<std::uint8_t> payload);
    std::size_t PendingBytes() const { return m_pendingBytes; }
    void Close(WsClose why);
    bool IsOpen() const { return m_fd >= 0; }

private:
    void OnReadable();
    void OnWritable();
    void HandleMessages();
    void Handle(const WsFrameReader::Message& message);
    bool TakeFromBudget();
    void Queue(std::vector<std::uint8_t> bytes);
    void End();

    int m_fd;
    Listener m_listener;
    WsFrameReader m_reader{kMaxMessage};
    std::deque<std::vector<std::uint8_t>> m_pending;
    std::size_t m_pendingBytes = 0;
    std::size_t m_firstSent = 0;  // bytes of the first one that are gone
    double m_budget = kMessageBurst;
    qint64 m_budgetTime = 0;
    bool m_bClosing = false;
    QTimer m_closeTimer;
    QTimer m_pingTimer;
    QTimer m_restTimer;  // messages that wait behind one whose handling takes long
    bool m_bPingAnswered = true;
    std::unique_ptr<QSocketNotifier> m_readable;
    std::unique_ptr<QSocketNotifier> m_writable;
};

}  // namespace kvmon
