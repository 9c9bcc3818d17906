#include "media/picture_encoder.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>

#include "wire/frame_header.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace kvrecorder {
namespace {

struct CodecKind {
    Codec codec;
    const char* encoder;
    std::uint32_t fourcc;
    AVPixelFormat format;
    void (*tune)(AVCodecContext* context);
};

// Quality is constant and the rate follows the scene: static pictures cost next to nothing.
void TuneH264(AVCodecContext* context) {
    context->profile = FF_PROFILE_H264_CONSTRAINED_BASELINE;
    av_opt_set(context->priv_data, "preset", "ultrafast", 0);
    av_opt_set(context->priv_data, "tune", "zerolatency", 0);
    av_opt_set(context->priv_data, "crf", "23", 0);
    // The client's decoder gets whole pictures; slices would only cost bits.
    av_opt_set(context->priv_data, "x264-params", "sliced-threads=0:scenecut=0:repeat-headers=1:annexb=1", 0);
    av_opt_set(context->priv_data, "forced-idr", "1", 0);
}

void TuneByQuantizer(AVCodecContext* context) {
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->global_quality = FF_QP2LAMBDA * 3;
}

void TuneMpeg4(AVCodecContext* context) {
    TuneByQuantizer(context);
    // Key pictures come by count alone.
    av_opt_set(context->priv_data, "sc_threshold", "1000000000", 0);
}

void TuneMjpeg(AVCodecContext* context) {
    TuneByQuantizer(context);
    // Optimal tables would cost a second pass over each picture.
    av_opt_set(context->priv_data, "huffman", "default", 0);
}

const CodecKind kCodecs[] = {
    {Codec::H264, "libx264", wire::kZ264, AV_PIX_FMT_YUV420P, TuneH264},
    {Codec::Mpeg4, "mpeg4", wire::kZMP4, AV_PIX_FMT_YUV420P, TuneMpeg4},
    {Codec::Mjpeg, "mjpeg", wire::kZIVG, AV_PIX_FMT_YUVJ420P, TuneMjpeg},
    {Codec::Mpeg4Fields, "mpeg4", wire::kAVM4, AV_PIX_FMT_YUV420P, TuneMpeg4},
    {Codec::Vivotek, "mpeg4", wire::kZV7K, AV_PIX_FMT_YUV420P, TuneMpeg4},
    {Codec::Mxpeg, nullptr, wire::kZXPG, AV_PIX_FMT_YUVJ420P, nullptr},
    {Codec::H265, nullptr, wire::kZ265, AV_PIX_FMT_YUV420P, nullptr},
};

const CodecKind& KindOf(Codec codec) {
    for (const CodecKind& kind : kCodecs) {
        if (kind.codec == codec) {
            return kind;
        }
    }
    throw std::runtime_error("unknown codec");
}

// The even rows above, the odd ones below.
void StackFields(const AVFrame& picture, AVFrame& stacked) {
    for (int plane = 0; plane < 3; ++plane) {
        const int height = plane == 0 ? picture.height : picture.height / 2;
        const int width = plane == 0 ? picture.width : picture.width / 2;
        for (int row = 0; row < height; ++row) {
            const int place = row / 2 + (row % 2 == 0 ? 0 : (height + 1) / 2);
            std::memcpy(stacked.data[plane] + std::ptrdiff_t{place} * stacked.linesize[plane],
                        picture.data[plane] + std::ptrdiff_t{row} * picture.linesize[plane],
                        static_cast<std::size_t>(width));
        }
    }
}

AVColorRange RangeOf(const CodecKind& kind) {
    return kind.format == AV_PIX_FMT_YUVJ420P ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
}

AvPtr<AVFrame> MakeFrame(const CodecKind& kind, const StreamConfig& stream) {
    AvPtr<AVFrame> frame(av_frame_alloc());
    if (frame) {
        frame->format = kind.format;
        frame->width = stream.width;
        frame->height = stream.height;
        frame->color_range = RangeOf(kind);
    }
    if (!frame || av_frame_get_buffer(frame.get(), 0) < 0) {
        throw std::runtime_error("no memory for a picture");
    }
    return frame;
}

}  // namespace

void CheckStream(const StreamConfig& stream) {
    const auto sizeFits = [](int size) { return size >= 16 && size <= 4096 && size % 2 == 0; };
    if (!sizeFits(stream.width) || !sizeFits(stream.height)) {
        throw std::runtime_error("a picture of " + std::to_string(stream.width) + "x" +
                                 std::to_string(stream.height) +
                                 " cannot be made; sizes are 16 to 4096 and even");
    }
    if (stream.fps < 1 || stream.fps > 60) {
        throw std::runtime_error("a rate is 1 to 60 pictures a second, not " + std::to_string(stream.fps));
    }
    if (stream.gop < 1 || stream.gop > 600) {
        throw std::runtime_error("from key to key picture there are 1 to 600, not " +
                                 std::to_string(stream.gop));
    }
    if (stream.codec == Codec::Mpeg4Fields && stream.height % 4 != 0) {
        throw std::runtime_error("a picture of two fields has a height that is a multiple of 4, not " +
                                 std::to_string(stream.height));
    }
}

std::uint32_t FourccOf(Codec codec) {
    return KindOf(codec).fourcc;
}

PictureEncoder::PictureEncoder(const StreamConfig& stream) : m_stream(stream) {
    CheckStream(stream);
    const CodecKind& kind = KindOf(stream.codec);
    m_frame = MakeFrame(kind, stream);
    if (stream.codec == Codec::Mxpeg) {
        m_mxpeg = std::make_unique<MxpegWriter>(stream.width, stream.height);
        return;
    }
    if (stream.codec == Codec::Mpeg4Fields) {
        m_stacked = MakeFrame(kind, stream);
    }
    OpenCodec();
}

void PictureEncoder::OpenCodec() {
    const StreamConfig& stream = m_stream;
    const CodecKind& kind = KindOf(stream.codec);
    const AVCodec* const codec = avcodec_find_encoder_by_name(kind.encoder);
    m_codec.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    m_packet.reset(av_packet_alloc());
    if (!m_codec || !m_packet) {
        throw std::runtime_error(std::string("the encoder ") + kind.encoder + " is not to be had");
    }
    m_codec->width = stream.width;
    m_codec->height = stream.height;
    m_codec->pix_fmt = kind.format;
    m_codec->color_range = RangeOf(kind);
    m_codec->time_base = {1, stream.fps};
    m_codec->framerate = {stream.fps, 1};
    m_codec->gop_size = stream.gop;
    m_codec->max_b_frames = 0;
    // With square pixels told a JPEG begins with its JFIF head, as cameras' do.
    m_codec->sample_aspect_ratio = {1, 1};
    // Channels run side by side already.
    m_codec->thread_count = 1;
    kind.tune(m_codec.get());
    if (const int error = avcodec_open2(m_codec.get(), codec, nullptr); error < 0) {
        m_codec.reset();
        throw std::runtime_error(std::string("the encoder ") + kind.encoder + " refuses " +
                                 std::to_string(stream.width) + "x" + std::to_string(stream.height) + ": " +
                                 AvErrorText(error));
    }
}

AVFrame* PictureEncoder::Picture() {
    return av_frame_make_writable(m_frame.get()) < 0 ? nullptr : m_frame.get();
}

PacketPtr PictureEncoder::Encode(std::int64_t index, std::int64_t timeMs) {
    AVFrame* const frame = m_stacked ? m_stacked.get() : m_frame.get();
    if (m_stacked) {
        if (av_frame_make_writable(frame) < 0) {
            return nullptr;
        }
        StackFields(*m_frame, *frame);
    }
    frame->pts = index;
    auto packet = std::make_shared<Packet>();
    packet->fourcc = FourccOf(m_stream.codec);
    packet->width = m_stream.width;
    packet->height = m_stream.height;
    packet->timeMs = timeMs;
    if (!Code(*frame, *packet)) {
        return nullptr;
    }
    m_sinceKey = packet->key ? 1 : m_sinceKey + 1;
    if (m_sinceKey >= m_stream.gop) {
        m_sinceKey = 0;
    }
    return packet;
}

bool PictureEncoder::Code(AVFrame& frame, Packet& packet) {
    if (m_mxpeg) {
        const auto kind = m_sinceKey == 0 ? MxpegWriter::Kind::Whole : MxpegWriter::Kind::Changes;
        if (!m_mxpeg->Write(frame, kind)) {
            return false;
        }
        packet.key = m_mxpeg->IsWhole();
        packet.data = m_mxpeg->Data();
        return true;
    }
    if (!m_codec) {
        m_sinceKey = 0;
        OpenCodec();
    }
    // The libraries count a group by time stamps or by pictures; after skipped ones these differ.
    frame.pict_type = m_sinceKey == 0 ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    frame.quality = m_codec->global_quality;
    if (avcodec_send_frame(m_codec.get(), &frame) < 0 ||
        avcodec_receive_packet(m_codec.get(), m_packet.get()) < 0) {
        // What such a failure leaves of a codec is not to be used again: it would end the program in the end.
        m_codec.reset();
        return false;
    }
    packet.key = (m_packet->flags & AV_PKT_FLAG_KEY) != 0;
    packet.data.assign(m_packet->data, m_packet->data + m_packet->size);
    av_packet_unref(m_packet.get());
    return true;
}

}  // namespace kvrecorder
