#include "codec/picture.h"

#include <libyuv.h>

extern "C" {
#include <libavutil/frame.h>
}

#include <cstring>
#include <utility>
#include <vector>

namespace kvmon {

BITMAPINFOHEADER MakeBitmapInfo(int width, int height, int bitCount) {
    BITMAPINFOHEADER info;
    info.biWidth = width;
    info.biHeight = height;
    info.biBitCount = static_cast<std::uint16_t>(bitCount);
    info.biSizeImage =
        static_cast<std::uint32_t>(BitmapStride(width, bitCount) * static_cast<std::size_t>(height));
    return info;
}

PictureView ViewOfBitmap(const BITMAPINFOHEADER& info, const std::uint8_t* bits) {
    PictureView view;
    if (bits == nullptr || info.biWidth <= 0 || info.biHeight <= 0 ||
        (info.biBitCount != 24 && info.biBitCount != 32)) {
        return view;
    }
    const std::size_t stride = BitmapStride(info.biWidth, info.biBitCount);
    view.layout = info.biBitCount == 24 ? PixelLayout::Bgr24 : PixelLayout::Bgra32;
    view.fullRange = true;
    view.width = info.biWidth;
    view.height = info.biHeight;
    view.data[0] = bits + stride * static_cast<std::size_t>(info.biHeight - 1);
    view.stride[0] = -static_cast<std::ptrdiff_t>(stride);
    return view;
}

const libyuv::YuvConstants* YuvMatrix(const PictureView& picture) {
    if (picture.bt709) {
        return picture.fullRange ? &libyuv::kYuvF709Constants : &libyuv::kYuvH709Constants;
    }
    return picture.fullRange ? &libyuv::kYuvJPEGConstants : &libyuv::kYuvI601Constants;
}

bool ConvertToBgr(const PictureView& picture, std::uint8_t* destination, std::ptrdiff_t stride) {
    const int width = picture.width;
    const int height = picture.height;
    const auto in = [&](int plane) { return static_cast<int>(picture.stride[plane]); };
    const int out = static_cast<int>(stride);
    const libyuv::YuvConstants* const matrix = YuvMatrix(picture);
    const auto* const* data = picture.data;
    switch (picture.layout) {
        case PixelLayout::None:
            return false;
        case PixelLayout::I420:
            return libyuv::I420ToRGB24Matrix(data[0], in(0), data[1], in(1), data[2], in(2), destination, out,
                                             matrix, width, height) == 0;
        case PixelLayout::I422:
            return libyuv::I422ToRGB24Matrix(data[0], in(0), data[1], in(1), data[2], in(2), destination, out,
                                             matrix, width, height) == 0;
        case PixelLayout::I444:
        case PixelLayout::Gray:
        case PixelLayout::Bgr24:
        case PixelLayout::Bgra32:
            break;
    }
    // The layouts that the library has no direct way for go row by row.
    std::uint8_t* to = destination;
    const std::uint8_t* from[3] = {data[0], data[1], data[2]};
    std::vector<std::uint8_t> row(static_cast<std::size_t>(width) * 4);
    for (int y = 0; y < height; ++y, to += stride) {
        switch (picture.layout) {
            case PixelLayout::I444:
                libyuv::I444ToARGBMatrix(from[0], in(0), from[1], in(1), from[2], in(2), row.data(),
                                         width * 4, matrix, width, 1);
                libyuv::ARGBToRGB24(row.data(), width * 4, to, width * 3, width, 1);
                break;
            case PixelLayout::Gray:
                libyuv::I400ToARGBMatrix(from[0], in(0), row.data(), width * 4, matrix, width, 1);
                libyuv::ARGBToRGB24(row.data(), width * 4, to, width * 3, width, 1);
                break;
            case PixelLayout::Bgr24:
                std::memcpy(to, from[0], static_cast<std::size_t>(width) * 3);
                break;
            default:
                libyuv::ARGBToRGB24(from[0], width * 4, to, width * 3, width, 1);
                break;
        }
        for (int plane = 0; plane < 3; ++plane) {
            from[plane] = from[plane] != nullptr ? from[plane] + picture.stride[plane] : nullptr;
        }
    }
    return true;
}

DecodedPicture::DecodedPicture() = default;
DecodedPicture::DecodedPicture(DecodedPicture&& other) noexcept
    : m_frame(std::exchange(other.m_frame, nullptr)), m_whole(std::move(other.m_whole)) {}

DecodedPicture& DecodedPicture::operator=(DecodedPicture&& other) noexcept {
    Swap(other);
    other.Clear();
    return *this;
}

DecodedPicture::~DecodedPicture() {
    av_frame_free(&m_frame);
}

void DecodedPicture::Swap(DecodedPicture& other) noexcept {
    std::swap(m_frame, other.m_frame);
    m_whole.swap(other.m_whole);
}

AVFrame* DecodedPicture::Frame() {
    if (m_frame == nullptr) {
        m_frame = av_frame_alloc();
    }
    return m_frame;
}

bool DecodedPicture::IsEmpty() const {
    return m_frame == nullptr || m_frame->data[0] == nullptr;
}

void DecodedPicture::Clear() {
    if (m_frame != nullptr) {
        av_frame_unref(m_frame);
    }
    m_whole.reset();
}

PictureSize DecodedPicture::Size() const {
    return m_whole     ? m_whole->Size()
           : IsEmpty() ? PictureSize{}
                       : PictureSize{m_frame->width, m_frame->height};
}

PictureView DecodedPicture::View() const {
    PictureView view;
    if (IsEmpty()) {
        return view;
    }
    switch (m_frame->format) {
        case AV_PIX_FMT_YUVJ420P:
        case AV_PIX_FMT_YUV420P:
            view.layout = PixelLayout::I420;
            break;
        case AV_PIX_FMT_YUVJ422P:
        case AV_PIX_FMT_YUV422P:
            view.layout = PixelLayout::I422;
            break;
        case AV_PIX_FMT_YUVJ444P:
        case AV_PIX_FMT_YUV444P:
            view.layout = PixelLayout::I444;
            break;
        case AV_PIX_FMT_GRAY8:
            view.layout = PixelLayout::Gray;
            break;
        default:
            return view;
    }
    view.width = m_frame->width;
    view.height = m_frame->height;
    view.fullRange = m_frame->color_range == AVCOL_RANGE_JPEG || m_frame->format == AV_PIX_FMT_YUVJ420P ||
                     m_frame->format == AV_PIX_FMT_YUVJ422P || m_frame->format == AV_PIX_FMT_YUVJ444P;
    view.bt709 = m_frame->colorspace == AVCOL_SPC_BT709;
    const int planes = view.layout == PixelLayout::Gray ? 1 : 3;
    for (int plane = 0; plane < planes; ++plane) {
        view.data[plane] = m_frame->data[plane];
        view.stride[plane] = m_frame->linesize[plane];
    }
    return view;
}

}  // namespace kvmon
