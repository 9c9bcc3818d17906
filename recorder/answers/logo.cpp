#include "answers/logo.h"

#include <cmath>
#include <cstdint>
#include <vector>

#include "media/jpeg_writer.h"

namespace kvrecorder {
namespace {

constexpr int kWidth = 160;
constexpr int kHeight = 48;
constexpr int kQuality = 88;

// A lens on a dark ground that brightens to the right.
void DrawRow(int y, std::vector<std::uint8_t>& row) {
    for (int x = 0; x < kWidth; ++x) {
        const double distance = std::hypot(x - 28.0, y - 24.0);
        const bool ring = distance < 17 && (distance > 12 || distance < 6);
        const bool bar = x > 56 && x < 148 && (y / 8) % 2 == 1 && x < 148 - 3 * (y - 24) / 2;
        const int ground = 24 + x / 4;
        const auto at = 3 * static_cast<std::size_t>(x);
        row[at] = static_cast<std::uint8_t>(ring ? 240 : bar ? 60 : ground);
        row[at + 1] = static_cast<std::uint8_t>(ring ? 170 : bar ? 150 : ground + 10);
        row[at + 2] = static_cast<std::uint8_t>(ring ? 60 : bar ? 220 : ground + 24);
    }
}

std::string Draw() {
    std::vector<std::uint8_t> pixels;
    std::vector<std::uint8_t> row(3 * kWidth);
    for (int y = 0; y < kHeight; ++y) {
        DrawRow(y, row);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
    std::vector<std::uint8_t> jpeg;
    CompressRgb({kWidth, kHeight, kQuality}, pixels.data(), jpeg);
    return {jpeg.begin(), jpeg.end()};
}

}  // namespace

const std::string& LogoJpeg() {
    static const std::string picture = Draw();
    return picture;
}

}  // namespace kvrecorder
