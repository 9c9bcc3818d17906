// Owners of libavcodec's objects. Inside this folder only.
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace kvmon {

struct AvEnd {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};
template <typename Object>
using AvOwner = std::unique_ptr<Object, AvEnd>;

}  // namespace kvmon
