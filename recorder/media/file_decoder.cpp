#include "media/file_decoder.h"

#include <algorithm>
#include <stdexcept>

#include <libyuv.h>

namespace kvrecorder {

FileDecoder::FileDecoder(const AVCodecParameters* parameters) : frame_(av_frame_alloc()) {
    const AVCodec* const decoder = avcodec_find_decoder(parameters->codec_id);
    codec_.reset(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (!codec_ || !frame_ || avcodec_parameters_to_context(codec_.get(), parameters) < 0) {
        throw std::runtime_error("there is no decoder for the file's pictures");
    }
    codec_->thread_count = 1;
    if (const int error = avcodec_open2(codec_.get(), decoder, nullptr); error < 0) {
        throw std::runtime_error("the file's pictures cannot be decoded: " + AvErrorText(error));
    }
}

void FileDecoder::Send(const AVPacket* packet) {
    avcodec_send_packet(codec_.get(), packet);
}

bool FileDecoder::Receive() {
    while (avcodec_receive_frame(codec_.get(), frame_.get()) >= 0) {
        if (frame_->width > 0 && frame_->height > 0 && frame_->data[0]) {
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
    scaler_.reset(sws_getCachedContext(scaler_.release(), picture.width, picture.height,
                                       static_cast<AVPixelFormat>(picture.format), target->width,
                                       target->height, static_cast<AVPixelFormat>(target->format),
                                       SWS_BILINEAR, nullptr, nullptr, nullptr));
    return scaler_ && sws_scale(scaler_.get(), picture.data, picture.linesize, 0, picture.height,
                                target->data, target->linesize) > 0;
}

PacketPtr FileTranscoder::Encode(const AVFrame& picture, MediaTime time) {
    const MediaTime period(1'000'000 / stream_.fps);
    // Time stamps of files are rounded; a picture a little early is not one too many.
    if (time - lastTime_ < period * 3 / 4 || !Scale(picture, encoder_.Picture())) {
        return nullptr;
    }
    lastTime_ = time;
    lastIndex_ = std::max(lastIndex_ + 1, (time / period));
    return encoder_.Encode(lastIndex_, time.count() / 1000);
}

}  // namespace kvrecorder
