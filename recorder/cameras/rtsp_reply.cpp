#include "cameras/rtsp_reply.h"

#include "cameras/camera_error.h"

namespace kvrecorder {
namespace {

// Cameras choose the channels of what is said to them.
constexpr int kAllChannels = 256;

}  // namespace

std::optional<RtspReply> RtspReplies::Next() {
    std::optional<RtspReply> reply;
    std::size_t done = 0;
    while (!reply) {
        const auto rest = std::span(reinterpret_cast<const std::uint8_t*>(m_bytes.data()), m_bytes.size());
        const std::size_t skipped = SkipToRtspItem(rest.subspan(done), kAllChannels);
        done += skipped;
        m_skipped += skipped;
        if (m_skipped > kMostRtspHead) {
            throw CameraError(FaultCode::NotUnderstood);
        }
        auto item = ReadRtspItem(rest.subspan(done));
        if (!item) {
            break;
        }
        m_skipped = 0;
        done += item->size;
        if (!item->isPacket && item->head.status != 0) {
            reply = {std::move(item->head), {item->bytes.begin(), item->bytes.end()}};
        }
    }
    m_bytes.erase(0, done);
    return reply;
}

}  // namespace kvrecorder
