#include "channel/picture/pixels.h"

#include <algorithm>

namespace kvmon {

namespace {

std::uint32_t* RowOf(const PixelImage& image, int y) {
    return reinterpret_cast<std::uint32_t*>(image.pixels + std::ptrdiff_t{y} * image.stride);
}

// Each of the four bytes times factor / 255.
std::uint32_t Dimmed(std::uint32_t pixel, std::uint32_t factor) {
    std::uint32_t low = (pixel & 0x00FF00FF) * factor;
    low = (low + ((low >> 8) & 0x00FF00FF) + 0x00800080) >> 8 & 0x00FF00FF;
    std::uint32_t high = (pixel >> 8 & 0x00FF00FF) * factor;
    high = (high + ((high >> 8) & 0x00FF00FF) + 0x00800080) & 0xFF00FF00;
    return high | low;
}

}  // namespace

void FillRect(const PixelImage& image, const PixelRect& rect, std::uint32_t rgb) {
    const int left = std::max(rect.left, 0);
    const int right = std::min(rect.right, image.width);
    const int top = std::max(rect.top, 0);
    const int bottom = std::min(rect.bottom, image.height);
    if (left >= right) {
        return;
    }
    for (int y = top; y < bottom; ++y) {
        std::uint32_t* const row = RowOf(image, y);
        std::fill(row + left, row + right, rgb);
    }
}

void FillAround(const PixelImage& image, const PixelRect& inner, std::uint32_t rgb) {
    FillRect(image, {0, 0, inner.left, image.height}, rgb);
    FillRect(image, {inner.left, 0, inner.right, inner.top}, rgb);
    FillRect(image, {inner.right, 0, image.width, image.height}, rgb);
    FillRect(image, {inner.left, inner.bottom, inner.right, image.height}, rgb);
}

void GreyOut(const PixelImage& image) {
    for (int y = 0; y < image.height; ++y) {
        std::uint32_t* const row = RowOf(image, y);
        for (int x = 0; x < image.width; ++x) {
            const std::uint32_t pixel = row[x];
            const std::uint32_t light =
                ((pixel >> 16 & 0xFF) * 77 + (pixel >> 8 & 0xFF) * 151 + (pixel & 0xFF) * 28) >> 9;
            row[x] = Rgb(light, light, light);
        }
    }
}

void BlendOver(const PixelImage& image, int x, int y, const PixelImage& sprite) {
    const int left = std::max(x, 0);
    const int right = std::min(x + sprite.width, image.width);
    const int top = std::max(y, 0);
    const int bottom = std::min(y + sprite.height, image.height);
    for (int row = top; row < bottom; ++row) {
        std::uint32_t* const to = RowOf(image, row);
        const std::uint32_t* const from = RowOf(sprite, row - y);
        for (int column = left; column < right; ++column) {
            const std::uint32_t over = from[column - x];
            if (over != 0) {
                to[column] = over + Dimmed(to[column], 255 - (over >> 24));
            }
        }
    }
}

}  // namespace kvmon
