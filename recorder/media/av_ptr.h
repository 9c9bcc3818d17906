// Owners of the libraries' objects. Inside the folders that are built with them only.
#pragma once

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace kvrecorder {

struct AvFree {
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
    void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
    void operator()(AVFrame* p) const { av_frame_free(&p); }
    void operator()(AVPacket* p) const { av_packet_free(&p); }
    void operator()(AVBSFContext* p) const { av_bsf_free(&p); }
    void operator()(SwsContext* p) const { sws_freeContext(p); }
};
template <typename T>
using AvPtr = std::unique_ptr<T, AvFree>;

inline std::string AvErrorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

}  // namespace kvrecorder
