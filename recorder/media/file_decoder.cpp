#include "media/file_decoder.h"

#include <algorithm>
#include <stdexcept>

#include <libyuv.h>

namespace kvrecorder {
namespace {

void LeaveOut(AVCodecContext& codec, const AVCodec& decoder, int width, int least) {
    codec.skip_loop_filter = AVDISCARD_ALL;
    codec.flags2 |= AV_CODEC_FLAG2_FAST;
    while (codec.lowres < decoder.max_lowres && (width >> (codec.lowres + 1)) >= least) {
        ++codec.lowres;
    }
}

}  // namespace

FileDecoder::FileDecoder(const AVCodecParameters* parameters, DecodedWidth width)
    : m_frame(av_frame_alloc()) {
    const AVCodec* const decoder = avcodec_find_decoder(parameters->codec_id);
    m_codec.reset(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (!m_codec || !m_frame || avcodec_parameters_to_context(m_codec.get(), parameters) < 0) {
        throw std::runtime_error("there is no decoder for the file's pictures");
    }
    m_codec->thread_count = 1;
    if (width.least > 0) {
        LeaveOut(*m_codec, *decoder, parameters->width, width.least);
    }
    if (const int error = avcodec_open2(m_codec.get(), decoder, nullptr); error < 0) {
        throw std::runtime_error("the file's pictures cannot be decoded: " + AvErrorText(error));
    }
}

void FileDecoder::Send(const AVPacket* packet) {
    avcodec_send_packet(m_codec.get(), packet);
}

bool FileDecoder::Receive() {
    while (avcodec_receive_frame(m_codec.get(), m_frame.get()) >= 0) {
        if (m_frame->width > 0 && m_frame->height > 0 && m_frame->data[0]) {
            return true;
        }
    }
    return false;
}

bool FileTranscoder::Scale(const AVFrame& picture, AVFrame* target) {
    if (!target) {
        return false;
    }
    if (picture.format == AV_PIX_FMT_YUV420P && target->format == AV_PIX_FMT_YUV420P) {
        return libyuv::I420Scale(picture.data[0], picture.linesize[0], picture.data[1], picture.linesize[1],
                                 picture.data[2], picture.linesize[2], picture.width, picture.height,
                                 target->data[0], target->linesize[0], target->data[1], target->linesize[1],
                                 target->data[2], target->linesize[2], target->width, target->height,
                                 libyuv::kFilterBox) == 0;
    }
    m_scaler.reset(sws_getCachedContext(m_scaler.release(), picture.width, picture.height,
                                        static_cast<AVPixelFormat>(picture.format), target->width,
                                        target->height, static_cast<AVPixelFormat>(target->format),
                                        SWS_BILINEAR, nullptr, nullptr, nullptr));
    return m_scaler && sws_scale(m_scaler.get(), picture.data, picture.linesize, 0, picture.height,
                                 target->data, target->linesize) > 0;
}

PacketPtr FileTranscoder::Encode(const AVFrame& picture, MediaTime time) {
    const MediaTime period(1'000'000 / m_stream.fps);
    // Time stamps in files are rounded, so that a picture a little early still counts as in time.
    if (time - m_lastTime < period * 3 / 4 || !Scale(picture, m_encoder.Picture())) {
        return nullptr;
    }
    m_lastTime = time;
    m_lastIndex = std::max(m_lastIndex + 1, (time / period));
    return m_encoder.Encode(m_lastIndex, time.count() / 1000);
}

}  // namespace kvrecorder
