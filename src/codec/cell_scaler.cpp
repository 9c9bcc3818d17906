#include "codec/cell_scaler.h"

#include <libyuv.h>

#include "codec/plane_scaler.h"

namespace kvmon {

namespace {

constexpr std::size_t kAlign = 64;

int HalfUp(int n) {
    return (n + 1) / 2;
}

struct PlaneShape {
    int xShift;
    int yShift;
};

// How much smaller the colour planes are.
PlaneShape ColourShape(PixelLayout layout) {
    switch (layout) {
        case PixelLayout::I420:
            return {1, 1};
        case PixelLayout::I422:
            return {1, 0};
        default:
            return {0, 0};
    }
}

// The picture cut down to the rectangle; left and top go down to where a colour sample begins.
PictureView Cut(const PictureView& picture, const PixelRect& source) {
    const PlaneShape shape = ColourShape(picture.layout);
    const int left = source.left >> shape.xShift << shape.xShift;
    const int top = source.top >> shape.yShift << shape.yShift;
    PictureView part = picture;
    part.width = source.right - left;
    part.height = source.bottom - top;
    const int bytes = picture.layout == PixelLayout::Bgr24    ? 3
                      : picture.layout == PixelLayout::Bgra32 ? 4
                                                              : 1;
    part.data[0] += std::ptrdiff_t{top} * part.stride[0] + std::ptrdiff_t{left} * bytes;
    for (int plane = 1; plane < 3; ++plane) {
        if (part.data[plane] != nullptr) {
            part.data[plane] +=
                std::ptrdiff_t{top >> shape.yShift} * part.stride[plane] + (left >> shape.xShift);
        }
    }
    return part;
}

// Averaging pays where several source pixels fall on one; nearer to the same size the eye wants the
// interpolation, which also costs less. The library divides by the number of averaged pixels in 16 bits
// of fixed point, so that very many of them would darken the picture.
libyuv::FilterMode FilterFor(const PictureView& from, int width, int height) {
    constexpr std::int64_t kMostAveraged = 300;
    const bool strong = from.width >= width * 2 && from.height >= height * 2;
    const std::int64_t averaged = std::int64_t{from.width / width + 1} * (from.height / height + 1);
    return strong && averaged <= kMostAveraged ? libyuv::kFilterBox : libyuv::kFilterBilinear;
}

bool ToArgb(const PictureView& p, std::uint8_t* pixels, int stride) {
    const auto in = [&](int plane) { return static_cast<int>(p.stride[plane]); };
    const libyuv::YuvConstants* const matrix = YuvMatrix(p);
    switch (p.layout) {
        case PixelLayout::I420:
            return libyuv::I420ToARGBMatrix(p.data[0], in(0), p.data[1], in(1), p.data[2], in(2), pixels,
                                            stride, matrix, p.width, p.height) == 0;
        case PixelLayout::I422:
            return libyuv::I422ToARGBMatrix(p.data[0], in(0), p.data[1], in(1), p.data[2], in(2), pixels,
                                            stride, matrix, p.width, p.height) == 0;
        case PixelLayout::I444:
            return libyuv::I444ToARGBMatrix(p.data[0], in(0), p.data[1], in(1), p.data[2], in(2), pixels,
                                            stride, matrix, p.width, p.height) == 0;
        case PixelLayout::Gray:
            return libyuv::I400ToARGBMatrix(p.data[0], in(0), pixels, stride, matrix, p.width, p.height) == 0;
        case PixelLayout::Bgr24:
            return libyuv::RGB24ToARGB(p.data[0], in(0), pixels, stride, p.width, p.height) == 0;
        case PixelLayout::Bgra32:
            return libyuv::ARGBCopy(p.data[0], in(0), pixels, stride, p.width, p.height) == 0;
        case PixelLayout::None:
            return false;
    }
    return false;
}

std::uint8_t* Aligned(std::vector<std::uint8_t>& work, std::size_t need) {
    if (work.size() < need + kAlign) {
        work.resize(need + kAlign);
    }
    const auto address = std::size_t(work.data());
    return work.data() + (kAlign - address % kAlign) % kAlign;
}

// Scaling rounds the fourth byte like a colour, and a 32-bit picture may hold anything there.
void MakeOpaque(std::uint8_t* pixels, std::ptrdiff_t stride, int width, int height) {
    for (int y = 0; y < height; ++y, pixels += stride) {
        for (int x = 0; x < width; ++x) {
            pixels[x * 4 + 3] = 255;
        }
    }
}

}  // namespace

bool CellScaler::Draw(const PictureView& picture, const PixelRect& source, std::uint8_t* pixels,
                      std::ptrdiff_t stride, const PixelRect& target) {
    const bool inside = source.left >= 0 && source.top >= 0 && source.right <= picture.width &&
                        source.bottom <= picture.height;
    if (picture.IsEmpty() || source.IsEmpty() || target.IsEmpty() || !inside) {
        return false;
    }
    const PictureView part = Cut(picture, source);
    const int width = target.Width();
    const int height = target.Height();
    std::uint8_t* const out = pixels + std::ptrdiff_t{target.top} * stride + std::ptrdiff_t{target.left} * 4;
    const int outStride = static_cast<int>(stride);
    const bool packed = part.layout == PixelLayout::Bgr24 || part.layout == PixelLayout::Bgra32;
    bool drawn = false;
    if (part.width == width && part.height == height) {
        drawn = ToArgb(part, out, outStride);
    } else if (packed) {
        drawn = DrawPacked(part, out, outStride, width, height);
    } else {
        drawn = DrawPlanes(part, out, outStride, width, height);
    }
    if (packed) {
        MakeOpaque(out, stride, width, height);
    }
    return drawn;
}

bool CellScaler::DrawPlanes(const PictureView& part, std::uint8_t* out, int outStride, int width,
                            int height) {
    const PlaneShape shape = ColourShape(part.layout);
    const int colourWidth = shape.xShift != 0 ? HalfUp(width) : width;
    const int colourHeight = shape.yShift != 0 ? HalfUp(height) : height;
    const int planes = part.layout == PixelLayout::Gray ? 1 : 3;
    const std::size_t lumaBytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const std::size_t colourBytes =
        static_cast<std::size_t>(colourWidth) * static_cast<std::size_t>(colourHeight);
    const std::size_t rowBytes = (ScaleWorkBytes(part.width, width) + kAlign - 1) / kAlign * kAlign;
    std::uint8_t* place = Aligned(m_work, rowBytes + lumaBytes + 2 * colourBytes);

    const std::span<std::uint8_t> rows(place, rowBytes);
    place += rowBytes;
    PictureView scaled = part;
    scaled.width = width;
    scaled.height = height;
    for (int plane = 0; plane < planes; ++plane) {
        const bool colour = plane > 0;
        const PlaneIn from{part.data[plane], part.stride[plane],
                           colour && shape.xShift != 0 ? HalfUp(part.width) : part.width,
                           colour && shape.yShift != 0 ? HalfUp(part.height) : part.height};
        const PlaneOut to{place, colour ? colourWidth : width, colour ? colourWidth : width,
                          colour ? colourHeight : height};
        ScalePlane(from, to, rows, colour ? m_colourAcross : m_across);
        scaled.data[plane] = place;
        scaled.stride[plane] = to.stride;
        place += colour ? colourBytes : lumaBytes;
    }
    return ToArgb(scaled, out, outStride);
}

bool CellScaler::DrawPacked(const PictureView& part, std::uint8_t* out, int outStride, int width,
                            int height) {
    const int rowBytes = part.width * 4;
    std::uint8_t* const argb =
        Aligned(m_work, static_cast<std::size_t>(rowBytes) * static_cast<std::size_t>(part.height));
    return ToArgb(part, argb, rowBytes) &&
           libyuv::ARGBScale(argb, rowBytes, part.width, part.height, out, outStride, width, height,
                             FilterFor(part, width, height)) == 0;
}

}  // namespace kvmon
