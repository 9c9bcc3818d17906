#include "codec/deep_picture.h"

#include <libyuv.h>

extern "C" {
#include <libavutil/frame.h>
}

#include <array>
#include <cstdint>
#include <memory>

namespace kvmon {

namespace {

struct FrameEnd {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

// Planes with what the library takes for their rows: samples of the one, bytes of the other.
struct Planes {
    explicit Planes(const AVFrame& frame) {
        for (std::size_t i = 0; i < 3; ++i) {
            deep[i] = reinterpret_cast<const std::uint16_t*>(frame.data[i]);
            narrow[i] = frame.data[i];
            stride[i] = frame.linesize[i];
        }
    }

    std::array<const std::uint16_t*, 3> deep;
    std::array<std::uint8_t*, 3> narrow;
    std::array<int, 3> stride;
};

}  // namespace

bool MakeEightBit(AVFrame& frame) {
    const bool bHalf = frame.format == AV_PIX_FMT_YUV420P10LE;
    if (!bHalf && frame.format != AV_PIX_FMT_YUV422P10LE) {
        return true;
    }
    const std::unique_ptr<AVFrame, FrameEnd> made(av_frame_alloc());
    if (!made || av_frame_copy_props(made.get(), &frame) < 0) {
        return false;
    }
    made->format = bHalf ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV422P;
    made->width = frame.width;
    made->height = frame.height;
    if (av_frame_get_buffer(made.get(), 0) < 0) {
        return false;
    }
    const Planes from(frame);
    const Planes to(*made);
    const auto narrow = bHalf ? libyuv::I010ToI420 : libyuv::I210ToI422;
    narrow(from.deep[0], from.stride[0] / 2, from.deep[1], from.stride[1] / 2, from.deep[2],
           from.stride[2] / 2, to.narrow[0], to.stride[0], to.narrow[1], to.stride[1], to.narrow[2],
           to.stride[2], frame.width, frame.height);
    av_frame_unref(&frame);
    av_frame_move_ref(&frame, made.get());
    return true;
}

}  // namespace kvmon
