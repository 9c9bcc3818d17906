// Sends what changes on the display to the page, at the page's pace.
#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <utility>

#include "web/session/delay_record.h"
#include "web/session/tile_encoder.h"

namespace kvmon {

class RemoteDisplay;
class WebSocket;

// What moves goes as JPEG, and once more without loss when it has come to rest; the rest goes as PNG. At most
// two frames are on their way: while a page has not drawn them the changes gather on the display, so that a
// slow one gets fewer frames and always the newest, and nothing queues.
class FrameSender final : public QObject {
public:
    static constexpr int kMaxFramesOnTheirWay = 2;
    static constexpr int kFrameIntervalMs = 15;

    struct Counts {
        std::uint64_t frames = 0, tiles = 0, bytes = 0;
        std::uint64_t held = 0;  // times that a frame had to wait for the page
        // Of frames that the page has answered, since it has drawn them: from the oldest decoded picture, or
        // other change, in a frame to the answer, and how much of that was before it was sent.
        DelayRecord delay;
        DelayRecord unsent;
    };

    FrameSender(RemoteDisplay& display, WebSocket& socket);

    // The display has changed.
    void OnDamage();
    // The page has drawn the frame of this number.
    void OnAck(std::uint32_t frame);
    // Whether anybody sees the page; nothing is sent while nobody does.
    void SetVisible(bool bVisible);
    // The socket has taken all there was.
    void OnDrained();
    // What was counted since the last call.
    Counts TakeCounts() { return std::exchange(m_counts, {}); }
    int Quality() const { return m_quality; }

private:
    struct Sent {
        std::uint32_t frame;
        qint64 time;
        qint64 changed;  // the first change in it
    };

    void Send();
    bool MaySend();
    void NoteMovement();
    bool IsMoving(const QRect& rect) const;
    void RefineQuiet();
    void AppendTile(const QImage& picture, const QRect& rect, bool bMoving, std::vector<std::uint8_t>& out);
    void AdaptQuality(int ackMs);

    RemoteDisplay& m_display;
    WebSocket& m_socket;
    TileEncoder m_encoder;
    QTimer m_sendTimer;
    QTimer m_quietTimer;
    QElapsedTimer m_clock;
    qint64 m_lastSent = -kFrameIntervalMs;
    qint64 m_changed = -1;  // the first change that is not sent; -1 without one
    std::uint32_t m_frame = 0;
    std::deque<Sent> m_sent;  // not yet drawn by the page
    QRegion m_lossy;
    // When a block of the display changed last, and before that.
    std::map<int, std::array<qint64, 2>> m_changes;
    int m_quality = 80;
    bool m_bVisible = true;
    Counts m_counts;
};

}  // namespace kvmon
