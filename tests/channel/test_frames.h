// Small pictures for the tests of drawing.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>

#include "channel/frames/frame_pool.h"

namespace kvtest {

using Bgr = std::array<std::uint8_t, 3>;

// A 24-bit picture whose pixel x, y (from the top) is colour(x, y).
template <typename Colour>
std::unique_ptr<kvmon::CVideoBmpFrame> MakeFrame(int width, int height, const Colour& colour) {
    auto frame = std::make_unique<kvmon::CVideoBmpFrame>();
    const kvmon::BITMAPINFOHEADER info = kvmon::MakeBitmapInfo(width, height);
    frame->Reserve(info.biSizeImage);
    std::memset(frame->Begin(), 0, info.biSizeImage);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Bgr pixel = colour(x, y);
            std::memcpy(frame->Begin() +
                            kvmon::BitmapStride(width) * static_cast<std::size_t>(height - 1 - y) +
                            static_cast<std::size_t>(x) * 3,
                        pixel.data(), 3);
        }
    }
    frame->SetBitmap(info);
    return frame;
}

inline std::unique_ptr<kvmon::CVideoBmpFrame> MakePlainFrame(int width, int height, const Bgr& colour) {
    return MakeFrame(width, height, [&colour](int, int) { return colour; });
}

}  // namespace kvtest
