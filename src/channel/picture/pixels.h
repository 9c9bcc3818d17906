// Drawing into 32-bit pixels (blue first, fourth byte 255) without a painter: these run for every frame
// and allocate nothing.
#pragma once

#include <cstddef>
#include <cstdint>

#include "codec/picture.h"

namespace kvmon {

struct PixelImage {
    std::uint8_t* pixels = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0;
    int height = 0;
};

constexpr std::uint32_t Rgb(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    return 0xFF000000u | red << 16 | green << 8 | blue;
}

// All rectangles are cut to the image.
void FillRect(const PixelImage& image, const PixelRect& rect, std::uint32_t rgb);
// Fills what the image has outside of `inner`.
void FillAround(const PixelImage& image, const PixelRect& inner, std::uint32_t rgb);
// Takes the colours away and half of the light.
void GreyOut(const PixelImage& image);
// Lays premultiplied pixels with an alpha over the image at x, y.
void BlendOver(const PixelImage& image, int x, int y, const PixelImage& sprite);

}  // namespace kvmon
