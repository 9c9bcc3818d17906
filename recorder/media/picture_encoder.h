// Encodes one stream's pictures as a recorder sends them.
#pragma once

#include <cstdint>

#include "media/av_ptr.h"
#include "media/mxpeg_writer.h"
#include "media/packet.h"
#include "media/stream_config.h"

namespace kvrecorder {

// H.264 as annex B with its parameter sets at each key picture, MPEG-4 with its VOL header at each key
// picture, MJPEG as plain baseline JPEG, MxPEG as whole and partial pictures. One packet out for each picture
// in. One thread at a time.
class PictureEncoder {
public:
    // Throws std::runtime_error if the stream's values are out of range or no encoder takes them.
    explicit PictureEncoder(const StreamConfig& stream);

    // The planes to fill before the next Encode: 4:2:0 of the stream's size, full range for those, else
    // video range. Null when memory is short.
    AVFrame* Picture();
    // `index` counts pictures of 1 / fps seconds and must grow. Null on failure.
    PacketPtr Encode(std::int64_t index, std::int64_t timeMs);

private:
    void OpenCodec();
    bool Code(AVFrame& frame, Packet& packet);

    const StreamConfig m_stream;
    AvPtr<AVCodecContext> m_codec;
    AvPtr<AVFrame> m_frame;
    AvPtr<AVFrame> m_stacked;  // of two fields alone: the picture as it is coded
    AvPtr<AVPacket> m_packet;
    std::unique_ptr<MxpegWriter> m_mxpeg;  // in place of a codec
    int m_sinceKey = 0;
};

// Throws std::runtime_error with words for the user.
void CheckStream(const StreamConfig& stream);
std::uint32_t FourccOf(Codec codec);

}  // namespace kvrecorder
