#include "cameras/small_pictures.h"

#include <algorithm>
#include <ctime>
#include <stdexcept>
#include <utility>

#include "media/file_decoder.h"

namespace kvrecorder {
namespace {

constexpr StreamConfig kStream = {Codec::H264, 640, 360, 10, 20};
constexpr std::chrono::seconds kMeasured{10};

AVCodecID IdOf(Codec codec) {
    return codec == Codec::H265    ? AV_CODEC_ID_HEVC
           : codec == Codec::Mpeg4 ? AV_CODEC_ID_MPEG4
           : codec == Codec::Mjpeg ? AV_CODEC_ID_MJPEG
                                   : AV_CODEC_ID_H264;
}

std::chrono::nanoseconds ThreadTime() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

struct FreeParameters {
    void operator()(AVCodecParameters* p) const { avcodec_parameters_free(&p); }
};

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
    Coders(kvrecorder::Codec from, const AVCodecParameters* parameters, const StreamConfig& stream)
        : codec(from), decoder(parameters), transcoder(stream), packet(av_packet_alloc()) {}

    kvrecorder::Codec codec;
    FileDecoder decoder;
    FileTranscoder transcoder;
    AvPtr<AVPacket> packet;
};

SmallPictures::SmallPictures() = default;
SmallPictures::~SmallPictures() = default;

StreamDescription SmallPictures::Description() {
    return {kStream.codec, kStream.width, kStream.height, kStream.fps};
}

void SmallPictures::Begin(kvrecorder::Codec codec, const Packet& first) {
    m_coders.reset();
    const std::unique_ptr<AVCodecParameters, FreeParameters> parameters(avcodec_parameters_alloc());
    if (!parameters) {
        throw std::runtime_error("there is not enough memory for a camera");
    }
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = IdOf(codec);
    m_coders = std::make_unique<Coders>(codec, parameters.get(), Fit(first));
    if (!m_coders->packet) {
        throw std::runtime_error("there is not enough memory for a camera");
    }
}

std::vector<PacketPtr> SmallPictures::Make(const std::vector<PacketPtr>& pictures, kvrecorder::Codec codec) {
    std::vector<PacketPtr> made;
    const auto begun = ThreadTime();
    for (const PacketPtr& picture : pictures) {
        if (!m_coders || m_coders->codec != codec) {
            if (!picture->key) {
                continue;
            }
            Begin(codec, *picture);
        }
        AVPacket* const packet = m_coders->packet.get();
        if (av_new_packet(packet, static_cast<int>(picture->data.size())) < 0) {
            continue;
        }
        std::copy(picture->data.begin(), picture->data.end(), packet->data);
        const MediaTime time(std::chrono::milliseconds(picture->timeMs));
        m_coders->decoder.Decode(packet, [&](const AVFrame& frame) {
            if (PacketPtr coded = m_coders->transcoder.Encode(frame, time)) {
                made.push_back(std::move(coded));
            }
        });
        av_packet_unref(packet);
    }
    m_spent += ThreadTime() - begun;
    if (!m_since) {
        // What came at once is no measure.
        m_since = std::chrono::steady_clock::now();
        m_spent = {};
    }
    return made;
}

std::optional<int> SmallPictures::Cost() {
    if (m_told || !m_since) {
        return std::nullopt;
    }
    const auto passed = std::chrono::steady_clock::now() - *m_since;
    if (passed < kMeasured) {
        return std::nullopt;
    }
    m_told = true;
    return static_cast<int>(100 * m_spent / passed);
}

}  // namespace kvrecorder
