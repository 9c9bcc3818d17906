#include "codec/deep_picture.h"

#include <libyuv.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "codec/av_owner.h"

namespace kvmon {

namespace {

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

// One of the same size and properties in another format; null without memory.
AvOwner<AVFrame> MakeLike(const AVFrame& frame, AVPixelFormat format) {
    AvOwner<AVFrame> made(av_frame_alloc());
    if (!made || av_frame_copy_props(made.get(), &frame) < 0) {
        return nullptr;
    }
    made->format = format;
    made->width = frame.width;
    made->height = frame.height;
    return av_frame_get_buffer(made.get(), 0) < 0 ? nullptr : std::move(made);
}

}  // namespace

bool MakeEightBit(AVFrame& frame) {
    const bool bHalf = frame.format == AV_PIX_FMT_YUV420P10LE;
    if (!bHalf && frame.format != AV_PIX_FMT_YUV422P10LE) {
        return true;
    }
    const AvOwner<AVFrame> made = MakeLike(frame, bHalf ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV422P);
    if (!made) {
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

bool MakePlanar(AVFrame& frame) {
    const bool bDeep = frame.format == AV_PIX_FMT_P010LE;
    if (!bDeep && frame.format != AV_PIX_FMT_NV12) {
        return true;
    }
    const AvOwner<AVFrame> made = MakeLike(frame, bDeep ? AV_PIX_FMT_YUV420P10LE : AV_PIX_FMT_YUV420P);
    if (!made) {
        return false;
    }
    const int halfWidth = (frame.width + 1) / 2;
    const int halfHeight = (frame.height + 1) / 2;
    if (!bDeep) {
        libyuv::CopyPlane(frame.data[0], frame.linesize[0], made->data[0], made->linesize[0], frame.width,
                          frame.height);
        libyuv::SplitUVPlane(frame.data[1], frame.linesize[1], made->data[1], made->linesize[1],
                             made->data[2], made->linesize[2], halfWidth, halfHeight);
    } else {
        const auto deep = [](const AVFrame& of, int plane, int row) {
            return reinterpret_cast<std::uint16_t*>(of.data[plane] +
                                                    std::ptrdiff_t{row} * of.linesize[plane]);
        };
        constexpr int kUnused = 6;  // the samples' bits are the upper ones
        for (int row = 0; row < frame.height; ++row) {
            const std::uint16_t* const from = deep(frame, 0, row);
            std::uint16_t* const to = deep(*made, 0, row);
            for (int x = 0; x < frame.width; ++x) {
                to[x] = static_cast<std::uint16_t>(from[x] >> kUnused);
            }
        }
        for (int row = 0; row < halfHeight; ++row) {
            const std::uint16_t* const from = deep(frame, 1, row);
            for (int x = 0; x < halfWidth; ++x) {
                deep(*made, 1, row)[x] = static_cast<std::uint16_t>(from[2 * x] >> kUnused);
                deep(*made, 2, row)[x] = static_cast<std::uint16_t>(from[2 * x + 1] >> kUnused);
            }
        }
    }
    av_frame_unref(&frame);
    av_frame_move_ref(&frame, made.get());
    return true;
}

}  // namespace kvmon
