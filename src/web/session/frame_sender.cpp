#include "web/session/frame_sender.h"

#include <algorithm>

#include "skin/repaint_hub.h"
#include "web/host/web_socket.h"
#include "web/platform/remote_display.h"
#include "web/session/page_protocol.h"

namespace kvmon {

namespace {

constexpr int kBlock = 64;
constexpr int kBlocksARow = RemoteDisplay::kMaxSide / kBlock;
// Two changes within this time are movement.
constexpr int kMovingMs = 1000;
constexpr int kQuietMs = 1500;
constexpr int kQuietCheckMs = 500;

constexpr int kBestQuality = 85;
constexpr int kWorstQuality = 40;
constexpr int kQualityStep = 5;
// The time from sending to the page's answer beyond which frames are made smaller, and below which larger.
constexpr int kSlowMs = 150;
constexpr int kFastMs = 60;

template <typename Function>
void ForBlocks(const QRect& rect, Function function) {
    for (int y = rect.top() / kBlock; y <= rect.bottom() / kBlock; ++y) {
        for (int x = rect.left() / kBlock; x <= rect.right() / kBlock; ++x) {
            function(y * kBlocksARow + x);
        }
    }
}

}  // namespace

FrameSender::FrameSender(RemoteDisplay& display, WebSocket& socket) : m_display(display), m_socket(socket) {
    m_clock.start();
    m_sendTimer.setSingleShot(true);
    m_sendTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_sendTimer, &QTimer::timeout, this, [this] { Send(); });
    connect(&m_quietTimer, &QTimer::timeout, this, [this] { RefineQuiet(); });
    m_quietTimer.start(kQuietCheckMs);
}

void FrameSender::OnDamage() {
    const qint64 now = m_clock.elapsed();
    if (m_changed < 0) {
        m_changed = now;
    }
    if (const auto requested = TakeRepaintRequestTime()) {
        const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - *requested);
        m_changed = std::min<qint64>(m_changed, now - age.count());
    }
    if (!m_sendTimer.isActive()) {
        // Changes of one turn of the event loop go together, whatever the time since the last frame.
        m_sendTimer.start(
            static_cast<int>(std::clamp<qint64>(m_lastSent + kFrameIntervalMs - now, 0, kFrameIntervalMs)));
    }
}

bool FrameSender::MaySend() {
    const bool bFree = static_cast<int>(m_sent.size()) < kMaxFramesOnTheirWay && m_socket.PendingBytes() == 0;
    m_counts.held += bFree ? 0 : 1;
    return bFree;
}

void FrameSender::OnAck(std::uint32_t frame) {
    const auto sent =
        std::find_if(m_sent.begin(), m_sent.end(), [frame](const Sent& s) { return s.frame == frame; });
    if (sent == m_sent.end()) {
        return;
    }
    const qint64 now = m_clock.elapsed();
    AdaptQuality(static_cast<int>(now - sent->time));
    m_counts.delay.Add(now - sent->changed);
    m_counts.unsent.Add(sent->time - sent->changed);
    m_sent.erase(m_sent.begin(), sent + 1);
    if (!m_display.Damage().isEmpty()) {
        OnDamage();
    }
}

void FrameSender::SetVisible(bool bVisible) {
    m_bVisible = bVisible;
    if (bVisible && !m_display.Damage().isEmpty()) {
        m_changed = -1;  // what changed before was for nobody
        OnDamage();
    }
}

void FrameSender::OnDrained() {
    if (!m_display.Damage().isEmpty()) {
        OnDamage();
    }
}

void FrameSender::AdaptQuality(int ackMs) {
    const int step = ackMs > kSlowMs ? -kQualityStep : ackMs < kFastMs ? 1 : 0;
    m_quality = std::clamp(m_quality + step, kWorstQuality, kBestQuality);
}

// Blocks whose last change is long ago are forgotten, so that the map holds what moves.
void FrameSender::NoteMovement() {
    const qint64 now = m_clock.elapsed();
    for (const QRect& rect : m_display.Damage()) {
        ForBlocks(rect, [&](int block) {
            const auto [entry, bNew] = m_changes.try_emplace(block, std::array<qint64, 2>{now, -kMovingMs});
            if (!bNew && entry->second[0] != now) {
                entry->second = {now, entry->second[0]};
            }
        });
    }
}

bool FrameSender::IsMoving(const QRect& rect) const {
    const qint64 now = m_clock.elapsed();
    int moving = 0;
    int blocks = 0;
    ForBlocks(rect, [&](int block) {
        const auto entry = m_changes.find(block);
        ++blocks;
        moving += entry != m_changes.end() && now - entry->second[1] < kMovingMs ? 1 : 0;
    });
    return moving * 2 > blocks;
}

void FrameSender::RefineQuiet() {
    const qint64 now = m_clock.elapsed();
    std::erase_if(m_changes, [now](const auto& entry) { return now - entry.second[0] > kQuietMs; });
    for (const QRect& rect : QRegion(m_lossy)) {
        bool bQuiet = true;
        ForBlocks(rect, [&](int block) { bQuiet = bQuiet && !m_changes.contains(block); });
        if (bQuiet) {
            m_lossy -= rect;
            m_display.AddDamage(rect);
        }
    }
}

void FrameSender::AppendTile(const QImage& picture, const QRect& rect, bool bMoving,
                             std::vector<std::uint8_t>& out) {
    const std::size_t head = BeginTile(out, rect, bMoving ? TileCodec::Jpeg : TileCodec::Png);
    const bool bDone = bMoving ? m_encoder.AppendJpeg(picture, rect, m_quality, out)
                               : TileEncoder::AppendPng(picture, rect, out);
    if (!bDone) {
        out.resize(head);
        return;
    }
    EndTile(out, head);
    m_lossy = bMoving ? m_lossy + rect : m_lossy - rect;
    ++m_counts.tiles;
}

void FrameSender::Send() {
    if (!m_bVisible || m_display.Damage().isEmpty() || !MaySend()) {
        return;  // the page's word, its answer or the socket brings it back here
    }
    NoteMovement();
    const QRegion damage = m_display.Damage();
    const QImage& picture = m_display.Compose();
    std::vector<std::uint8_t> message = BeginFrame(++m_frame, m_display.Size());
    for (const QRect& rect : damage& m_display.Area()) {
        AppendTile(picture, rect, IsMoving(rect), message);
    }
    m_lastSent = m_clock.elapsed();
    m_sent.push_back({m_frame, m_lastSent, std::exchange(m_changed, -1)});
    ++m_counts.frames;
    m_counts.bytes += message.size();
    m_socket.SendBinary(std::move(message));
}

}  // namespace kvmon
