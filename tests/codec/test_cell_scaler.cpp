#include "codec/cell_scaler.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "content/coded_pictures.h"

using namespace kvmon;

namespace {

struct Rgb {
    int red;
    int green;
    int blue;
};

std::uint8_t Clamp(double value) {
    return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value + 0.5);
}

struct Levels {
    bool full = true;
    bool hd = false;  // the colours of high definition
};

// A picture of one colour in some layout, by the textbook's matrix.
class FlatPicture {
public:
    FlatPicture(PixelLayout layout, int width, int height, Rgb colour, Levels levels = {}) {
        const auto [full, hd] = levels;
        const double kr = hd ? 0.2126 : 0.299;
        const double kb = hd ? 0.0722 : 0.114;
        const double luma = kr * colour.red + (1 - kr - kb) * colour.green + kb * colour.blue;
        const double pb = (colour.blue - luma) / (2 * (1 - kb));
        const double pr = (colour.red - luma) / (2 * (1 - kr));
        const std::uint8_t samples[] = {Clamp(full ? luma : 16 + luma * 219 / 255),
                                        Clamp(128 + (full ? pb : pb * 224 / 255)),
                                        Clamp(128 + (full ? pr : pr * 224 / 255))};
        view.layout = layout;
        view.fullRange = full;
        view.bt709 = hd;
        view.width = width;
        view.height = height;
        for (int plane = 0; plane < (layout == PixelLayout::Gray ? 1 : 3); ++plane) {
            const bool half = plane > 0 && layout != PixelLayout::I444;
            const int across = half ? (width + 1) / 2 : width;
            const int down = half && layout == PixelLayout::I420 ? (height + 1) / 2 : height;
            m_storage[plane].assign(static_cast<std::size_t>(across * down), samples[plane]);
            view.data[plane] = m_storage[plane].data();
            view.stride[plane] = across;
        }
    }

    PictureView view;

private:
    std::vector<std::uint8_t> m_storage[3];
};

// A 32-bit image with room around the target, to see writes outside of it.
class Image {
public:
    Image(int w, int h) : width(w), height(h) {
        pixels.assign(static_cast<std::size_t>(width * height * 4), kUntouched);
    }
    bool Draw(CellScaler& scaler, const PictureView& picture, const PixelRect& source,
              const PixelRect& target) {
        return scaler.Draw(picture, source, pixels.data(), width * 4, target);
    }
    const std::uint8_t* At(int x, int y) const { return pixels.data() + (y * width + x) * 4; }
    bool OnlyTargetTouched(const PixelRect& target) const {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const bool in = x >= target.left && x < target.right && y >= target.top && y < target.bottom;
                const std::uint8_t* const p = At(x, y);
                const bool untouched =
                    p[0] == kUntouched && p[1] == kUntouched && p[2] == kUntouched && p[3] == kUntouched;
                if (in ? p[3] != 255 : !untouched) {
                    return false;
                }
            }
        }
        return true;
    }

    static constexpr std::uint8_t kUntouched = 0x5A;
    const int width;
    const int height;
    std::vector<std::uint8_t> pixels;
};

// The library's fixed point has no room for the factor of blue in limited high-definition levels.
constexpr int kBlueOfLimitedHd = 12;

void ExpectColour(const std::uint8_t* pixel, Rgb colour, const std::string& where, int blueTolerance = 2) {
    EXPECT_NEAR(pixel[0], colour.blue, blueTolerance) << where;
    EXPECT_NEAR(pixel[1], colour.green, 2) << where;
    EXPECT_NEAR(pixel[2], colour.red, 2) << where;
    EXPECT_EQ(pixel[3], 255) << where;
}

TEST(CellScalerTest, FlatColoursComeThroughInEveryLayoutLevelsAndSize) {
    constexpr Rgb kColours[] = {{0, 0, 0}, {255, 255, 255}, {200, 40, 60}, {30, 180, 70}, {20, 60, 220}};
    constexpr int kSizes[][2] = {{64, 48}, {33, 17}, {1, 1}, {2, 3}, {160, 7}};
    CellScaler scaler;
    for (const Rgb colour : kColours) {
        for (const PixelLayout layout : {PixelLayout::I420, PixelLayout::I422, PixelLayout::I444}) {
            for (int levels = 0; levels < 4; ++levels) {
                FlatPicture picture(layout, 65, 49, colour, {(levels & 1) != 0, (levels & 2) != 0});
                for (const auto& size : kSizes) {
                    Image image(size[0] + 4, size[1] + 3);
                    const PixelRect target{3, 1, 3 + size[0], 1 + size[1]};
                    ASSERT_TRUE(image.Draw(scaler, picture.view, {0, 0, 65, 49}, target));
                    ASSERT_TRUE(image.OnlyTargetTouched(target)) << size[0];
                    const std::string where = std::to_string(int(layout)) + " " + std::to_string(levels) +
                                              " " + std::to_string(size[0]);
                    const int blue = levels == 2 ? kBlueOfLimitedHd : 2;
                    ExpectColour(image.At(3, 1), colour, where, blue);
                    ExpectColour(image.At(2 + size[0], size[1]), colour, where, blue);
                }
            }
        }
    }
    FlatPicture grey(PixelLayout::Gray, 31, 9, {90, 90, 90});
    Image image(20, 20);
    ASSERT_TRUE(image.Draw(scaler, grey.view, {0, 0, 31, 9}, {0, 0, 20, 20}));
    ExpectColour(image.At(19, 19), {90, 90, 90}, "grey");
}

// A bottom-up bitmap with a colour of its own in each quarter.
struct QuarterBitmap {
    explicit QuarterBitmap(int bitCount) : info(MakeBitmapInfo(kSide, kSide, bitCount)) {
        bits.resize(info.biSizeImage);
        const std::size_t stride = BitmapStride(kSide, bitCount);
        for (int y = 0; y < kSide; ++y) {
            for (int x = 0; x < kSide; ++x) {
                std::uint8_t* const pixel =
                    bits.data() + static_cast<std::size_t>(kSide - 1 - y) * stride + x * bitCount / 8;
                const Rgb colour = ColourAt(x, y);
                pixel[0] = static_cast<std::uint8_t>(colour.blue);
                pixel[1] = static_cast<std::uint8_t>(colour.green);
                pixel[2] = static_cast<std::uint8_t>(colour.red);
                if (bitCount == 32) {
                    pixel[3] = 7;  // no meaning; must not make the cell transparent
                }
            }
        }
    }
    static Rgb ColourAt(int x, int y) {
        return {x < kSide / 2 ? 250 : 10, y < kSide / 2 ? 240 : 20, x < kSide / 2 ? 30 : 200};
    }
    static constexpr int kSide = 42;
    BITMAPINFOHEADER info;
    std::vector<std::uint8_t> bits;
};

TEST(CellScalerTest, BottomUpBitmapStandsUpright) {
    for (const int bitCount : {24, 32}) {
        const QuarterBitmap bitmap(bitCount);
        const PictureView view = ViewOfBitmap(bitmap.info, bitmap.bits.data());
        CellScaler scaler;
        for (const int side : {42, 84, 21, 13}) {
            Image image(side, side);
            ASSERT_TRUE(image.Draw(scaler, view, {0, 0, 42, 42}, {0, 0, side, side}));
            ExpectColour(image.At(0, 0), QuarterBitmap::ColourAt(0, 0), "left top");
            ExpectColour(image.At(side - 1, 0), QuarterBitmap::ColourAt(41, 0), "right top");
            ExpectColour(image.At(0, side - 1), QuarterBitmap::ColourAt(0, 41), "left bottom");
            ExpectColour(image.At(side - 1, side - 1), QuarterBitmap::ColourAt(41, 41), "right bottom");
            EXPECT_TRUE(image.OnlyTargetTouched({0, 0, side, side}));
        }
        // A quarter alone, drawn at its own size and larger.
        for (const int side : {21, 50}) {
            Image image(side, side);
            ASSERT_TRUE(image.Draw(scaler, view, {21, 0, 42, 21}, {0, 0, side, side}));
            ExpectColour(image.At(0, side - 1), QuarterBitmap::ColourAt(41, 0), "part");
        }
    }
}

TEST(CellScalerTest, SameSizeIsAPlainConversion) {
    const kvtest::Planes source = kvtest::MovingPicture(37, 21, 4);
    PictureView view;
    view.layout = PixelLayout::I420;
    view.width = 37;
    view.height = 21;
    const std::uint8_t* const data[] = {source.y.data(), source.u.data(), source.v.data()};
    for (int plane = 0; plane < 3; ++plane) {
        view.data[plane] = data[plane];
        view.stride[plane] = plane == 0 ? 37 : 19;
    }
    std::vector<std::uint8_t> bgr(BitmapStride(37) * 21);
    ASSERT_TRUE(ConvertToBgr(view, bgr.data(), static_cast<std::ptrdiff_t>(BitmapStride(37))));
    Image image(37, 21);
    CellScaler scaler;
    ASSERT_TRUE(image.Draw(scaler, view, {0, 0, 37, 21}, {0, 0, 37, 21}));
    for (int y = 0; y < 21; ++y) {
        for (int x = 0; x < 37; ++x) {
            ASSERT_EQ(
                std::memcmp(
                    image.At(x, y),
                    &bgr[static_cast<std::size_t>(y) * BitmapStride(37) + static_cast<std::size_t>(x) * 3],
                    3),
                0)
                << x << " " << y;
        }
    }
    // Upside down into an image that is written from its last row up.
    std::vector<std::uint8_t> flipped(image.pixels.size());
    ASSERT_TRUE(scaler.Draw(view, {0, 0, 37, 21}, flipped.data() + 20 * 37 * 4, -37 * 4, {0, 0, 37, 21}));
    EXPECT_EQ(std::memcmp(flipped.data() + 20 * 37 * 4, image.pixels.data(), 37 * 4), 0);
    EXPECT_EQ(std::memcmp(flipped.data(), image.At(0, 20), 37 * 4), 0);
}

// Brightness rises with x, so that the place a pixel came from can be read off.
TEST(CellScalerTest, SourceRectangleIsTheOneAsked) {
    FlatPicture picture(PixelLayout::I420, 256, 64, {128, 128, 128});
    auto* const luma = const_cast<std::uint8_t*>(picture.view.data[0]);
    for (int i = 0; i < 256 * 64; ++i) {
        luma[i] = static_cast<std::uint8_t>(i % 256);
    }
    CellScaler scaler;
    for (const int left : {0, 1, 64, 99, 192}) {
        for (const int width : {32, 64, 17}) {
            Image image(32, 8);
            const PixelRect source{left, 3, std::min(left + width, 256), 63};
            ASSERT_TRUE(image.Draw(scaler, picture.view, source, {0, 0, 32, 8}));
            EXPECT_NEAR(image.At(0, 4)[1], left, 3 + width / 32) << left << " " << width;
            EXPECT_NEAR(image.At(31, 4)[1], source.right - 1, 3 + width / 32) << left << " " << width;
        }
    }
}

TEST(CellScalerTest, FineStripesAverageAndDoNotFlicker) {
    // Black and white columns of one pixel, scaled to a third: grey everywhere.
    FlatPicture picture(PixelLayout::I420, 300, 60, {128, 128, 128});
    auto* const luma = const_cast<std::uint8_t*>(picture.view.data[0]);
    for (int i = 0; i < 300 * 60; ++i) {
        luma[i] = i % 2 == 0 ? 0 : 255;
    }
    Image image(97, 19);
    CellScaler scaler;
    ASSERT_TRUE(image.Draw(scaler, picture.view, {0, 0, 300, 60}, {0, 0, 97, 19}));
    for (int x = 0; x < 97; ++x) {
        EXPECT_NEAR(image.At(x, 9)[1], 128, 45) << x;
    }
}

TEST(CellScalerTest, EmptyAndForeignRectanglesDrawNothing) {
    FlatPicture picture(PixelLayout::I420, 16, 16, {1, 2, 3});
    CellScaler scaler;
    Image image(8, 8);
    EXPECT_FALSE(image.Draw(scaler, PictureView(), {0, 0, 16, 16}, {0, 0, 8, 8}));
    for (const PixelRect source : {PixelRect{0, 0, 17, 16}, PixelRect{-1, 0, 16, 16}, PixelRect{4, 4, 4, 8},
                                   PixelRect{0, 0, 16, 17}, PixelRect{8, 0, 4, 16}}) {
        EXPECT_FALSE(image.Draw(scaler, picture.view, source, {0, 0, 8, 8}));
    }
    EXPECT_FALSE(image.Draw(scaler, picture.view, {0, 0, 16, 16}, {4, 4, 4, 4}));
    EXPECT_TRUE(image.OnlyTargetTouched({}));
}

TEST(BitmapTest, HeadersAndViews) {
    const BITMAPINFOHEADER info = MakeBitmapInfo(33, 5);
    EXPECT_EQ(info.biSizeImage, 100u * 5);
    EXPECT_EQ(BitmapStride(1, 24), 4u);
    EXPECT_EQ(BitmapStride(1, 16), 4u);
    std::vector<std::uint8_t> bits(info.biSizeImage);
    const PictureView view = ViewOfBitmap(info, bits.data());
    EXPECT_EQ(view.data[0], bits.data() + 400);
    EXPECT_EQ(view.stride[0], -100);
    BITMAPINFOHEADER bad = info;
    bad.biHeight = -5;
    EXPECT_TRUE(ViewOfBitmap(bad, bits.data()).IsEmpty());
    EXPECT_TRUE(ViewOfBitmap(info, nullptr).IsEmpty());
}

}  // namespace
