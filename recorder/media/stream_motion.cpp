#include "media/stream_motion.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <libyuv.h>

#include "media/cost_meter.h"
#include "media/packet_decoder.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace kvrecorder {
namespace {

// Key pictures that come more rarely are not enough.
constexpr std::int64_t kOftenMs = 1'000;
constexpr std::size_t kMostPictures = 150;
constexpr std::size_t kMostPending = 4 << 20;
// Of a processor, for one channel.
constexpr double kMostShare = 3;

}  // namespace

// A decoded picture's brightness in the judge's size.
struct StreamMotion::Small {
    bool Make(const AVFrame& picture, std::uint8_t* luma) {
        constexpr int kWidth = MotionJudge::kWidth;
        constexpr int kHeight = MotionJudge::kHeight;
        const auto format = static_cast<AVPixelFormat>(picture.format);
        const AVPixFmtDescriptor* const told = av_pix_fmt_desc_get(format);
        if (told && (told->flags & AV_PIX_FMT_FLAG_RGB) == 0 && told->comp[0].depth == 8 &&
            told->comp[0].step == 1) {
            libyuv::ScalePlane(picture.data[0], picture.linesize[0], picture.width, picture.height, luma,
                               kWidth, kWidth, kHeight, libyuv::kFilterBox);
            return true;
        }
        scaler.reset(sws_getCachedContext(scaler.release(), picture.width, picture.height, format, kWidth,
                                          kHeight, AV_PIX_FMT_GRAY8, SWS_AREA, nullptr, nullptr, nullptr));
        const int stride = kWidth;
        return scaler &&
               sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height, &luma, &stride) > 0;
    }
    AvPtr<SwsContext> scaler;
};

StreamMotion::StreamMotion(const MotionSetup& setup, std::chrono::milliseconds measured)
    : m_measured(measured), m_judge(setup), m_small(std::make_unique<Small>()) {}
StreamMotion::~StreamMotion() = default;

void StreamMotion::Offer(const PacketPtr& packet) {
    const std::lock_guard lock(m_mutex);
    if (packet->key) {
        // What came before it is seen no more.
        m_queue.clear();
        m_bytes = 0;
        m_gap = false;
        m_keyMs = packet->timeMs - m_lastKeyMs.value_or(packet->timeMs);
        m_lastKeyMs = packet->timeMs;
    } else if (!NeedsAll()) {
        m_gap = true;
        m_keyMs = std::max(m_keyMs, packet->timeMs - m_lastKeyMs.value_or(packet->timeMs));
    }
    if (m_gap) {
        return;
    }
    m_bytes += packet->data.size();
    m_queue.push_back(packet);
    if (m_bytes > kMostPending || m_queue.size() > kMostPictures) {
        m_queue.clear();
        m_bytes = 0;
        m_gap = true;
    }
}

bool StreamMotion::NeedsAll() const {
    return m_keyMs > kOftenMs && !m_costly;
}

std::deque<PacketPtr> StreamMotion::TakeQueue(bool& all) {
    const std::lock_guard lock(m_mutex);
    all = NeedsAll();
    m_bytes = 0;
    return std::exchange(m_queue, {});
}

std::optional<bool> StreamMotion::Look(MediaTime now) {
    if (now < m_notBefore) {
        return m_judge.Miss(now);
    }
    bool all = false;
    const std::deque<PacketPtr> packets = TakeQueue(all);
    const auto begun = ThreadTime();
    const bool seen = !packets.empty() && Decode(packets, all);
    const auto spent = ThreadTime() - begun;
    Measure(spent);
    const auto rest = std::chrono::duration_cast<MediaTime>(spent * (100 / kMostShare));
    // Where all are decoded what waits would only grow.
    m_notBefore = all ? now : now + rest;
    return seen ? m_judge.Judge(now) : m_judge.Miss(now);
}

bool StreamMotion::Decode(const std::deque<PacketPtr>& packets, bool all) {
    bool seen = false;
    const auto take = [&](const AVFrame& picture) { seen = m_small->Make(picture, m_judge.Luma()) || seen; };
    for (const PacketPtr& packet : packets) {
        if (packet->key && (!m_decoder || !m_decoder->Takes(*packet))) {
            m_decoder.reset();
            m_begun = false;
            if (PacketDecoder::CodecIdOf(packet->fourcc)) {
                m_decoder = std::make_unique<PacketDecoder>(*packet, DecodedWidth{MotionJudge::kWidth});
            }
        }
        if (!m_decoder || (!packet->key && !m_begun)) {
            continue;
        }
        m_begun = true;
        m_decoder->Decode(*packet, take);
    }
    if (m_decoder && !all) {
        m_decoder->Finish(take);
        m_begun = false;
    }
    return seen;
}

void StreamMotion::Measure(std::chrono::nanoseconds spent) {
    const auto now = std::chrono::steady_clock::now();
    if (!m_since) {
        m_since = now;
    }
    m_spent += spent;
    if (now - *m_since < m_measured) {
        return;
    }
    const double share = 100.0 * static_cast<double>(m_spent.count()) /
                         static_cast<double>(std::chrono::nanoseconds(now - *m_since).count());
    m_since = now;
    m_spent = {};
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", share);
    const std::lock_guard lock(m_mutex);
    m_share = share;
    // What was measured is of the one way or of the other, or of a bit of both.
    if (std::exchange(m_wasAll, NeedsAll()) != NeedsAll()) {
        return;
    }
    if (share > kMostShare && NeedsAll()) {
        m_costly = true;
        m_word = "motion is looked for in key pictures alone, every " +
                 std::to_string((m_keyMs + 500) / 1000) + " s, as all of them take " + text +
                 " % of a processor";
    } else if (!m_told) {
        m_told = true;
        m_word = std::string("motion is looked for, which takes ") + text + " % of a processor";
    }
}

std::string StreamMotion::Word() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_word, {});
}

std::optional<double> StreamMotion::Share() const {
    const std::lock_guard lock(m_mutex);
    return m_share;
}

}  // namespace kvrecorder
