#include "media/packet_decoder.h"

#include <algorithm>
#include <stdexcept>

#include "wire/frame_header.h"

namespace kvrecorder {
namespace {

struct FreeParameters {
    void operator()(AVCodecParameters* p) const { avcodec_parameters_free(&p); }
};

}  // namespace

std::optional<AVCodecID> PacketDecoder::CodecIdOf(std::uint32_t fourcc) {
    switch (fourcc) {
        case wire::kZ264:
            return AV_CODEC_ID_H264;
        case wire::kZ265:
            return AV_CODEC_ID_HEVC;
        case wire::kZMP4:
            return AV_CODEC_ID_MPEG4;
        case wire::kZIVG:
            return AV_CODEC_ID_MJPEG;
        default:
            return std::nullopt;
    }
}

PacketDecoder::PacketDecoder(const Packet& first, DecodedWidth width)
    : m_fourcc(first.fourcc), m_packet(av_packet_alloc()) {
    const auto id = CodecIdOf(first.fourcc);
    const std::unique_ptr<AVCodecParameters, FreeParameters> parameters(avcodec_parameters_alloc());
    if (!id || !parameters || !m_packet) {
        throw std::runtime_error(id ? "there is not enough memory to decode pictures"
                                    : "there is no decoder for these pictures");
    }
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = *id;
    parameters->width = first.width;
    m_decoder = std::make_unique<FileDecoder>(parameters.get(), width);
}

bool PacketDecoder::Fill(const Packet& packet) {
    if (av_new_packet(m_packet.get(), static_cast<int>(packet.data.size())) < 0) {
        return false;
    }
    std::copy(packet.data.begin(), packet.data.end(), m_packet->data);
    return true;
}

}  // namespace kvrecorder
