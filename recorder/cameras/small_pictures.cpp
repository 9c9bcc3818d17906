#include "cameras/small_pictures.h"

#include <algorithm>
#include <utility>

#include "media/packet_decoder.h"

namespace kvrecorder {
namespace {

constexpr StreamConfig kStream = {Codec::H264, 640, 360, 10, 20};

// About as wide as it is high.
StreamConfig Fit(const Packet& first) {
    StreamConfig stream = kStream;
    if (first.width > 0 && first.height > 0) {
        const int height = static_cast<int>(std::int64_t{stream.width} * first.height / first.width);
        stream.height = std::clamp(height & ~1, 16, 2 * stream.width);
    }
    return stream;
}

}  // namespace

struct SmallPictures::Coders {
    explicit Coders(const Packet& first) : decoder(first), transcoder(Fit(first)) {}

    PacketDecoder decoder;
    FileTranscoder transcoder;
};

SmallPictures::SmallPictures() = default;
SmallPictures::~SmallPictures() = default;

StreamDescription SmallPictures::Description() {
    return {kStream.codec, kStream.width, kStream.height, kStream.fps};
}

std::vector<PacketPtr> SmallPictures::Make(const std::vector<PacketPtr>& pictures) {
    std::vector<PacketPtr> made;
    const auto begun = ThreadTime();
    for (const PacketPtr& picture : pictures) {
        if (!m_coders || !m_coders->decoder.Takes(*picture)) {
            if (!picture->key) {
                continue;
            }
            m_coders.reset();
            m_coders = std::make_unique<Coders>(*picture);
        }
        const MediaTime time(std::chrono::milliseconds(picture->timeMs));
        m_coders->decoder.Decode(*picture, [&](const AVFrame& frame) {
            if (PacketPtr coded = m_coders->transcoder.Encode(frame, time)) {
                made.push_back(std::move(coded));
            }
        });
    }
    m_cost.Add(ThreadTime() - begun);
    return made;
}

}  // namespace kvrecorder
