#include "channel/picture/draw_rect.h"

#include <gtest/gtest.h>

namespace kvmon {
namespace {

struct Case {
    const char* name;
    DisplayMode mode;
    int viewWidth, viewHeight, imageWidth, imageHeight;
    PixelRect expected;
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

class DrawRect : public testing::TestWithParam<Case> {};

TEST_P(DrawRect, PutsTheImage) {
    const Case& c = GetParam();
    const PixelRect rect = ComputeDrawRect(c.mode, c.viewWidth, c.viewHeight, c.imageWidth, c.imageHeight);
    EXPECT_EQ(rect, c.expected) << rect.left << ',' << rect.top << ',' << rect.right << ',' << rect.bottom;
}

constexpr auto kFill = DisplayMode::Fill;
constexpr auto kKeep = DisplayMode::KeepAspect;
constexpr auto kOwn = DisplayMode::OwnSize;
constexpr auto kPower = DisplayMode::PowerOfTwo;
constexpr auto kNatural = DisplayMode::Natural;

INSTANTIATE_TEST_SUITE_P(
    Modes, DrawRect,
    testing::Values(Case{"FillTakesTheView", kFill, 400, 300, 640, 480, {0, 0, 400, 300}},
                    Case{"UnknownModeTakesTheView", DisplayMode(9), 400, 300, 64, 48, {0, 0, 400, 300}},
                    Case{"KeepPillarBox", kKeep, 400, 200, 640, 480, {67, 0, 333, 200}},
                    Case{"KeepLetterBox", kKeep, 400, 300, 1920, 1080, {0, 38, 400, 262}},
                    Case{"KeepOddSizesLoseAPixel", kKeep, 391, 275, 640, 450, {0, 0, 390, 274}},
                    Case{"KeepThinnerThanAPixelTakesTheView", kKeep, 100, 40, 1, 4000, {0, 0, 100, 40}},
                    Case{"KeepHuge", kKeep, 30000, 20000, 16384, 16384, {5000, 0, 25000, 20000}},
                    Case{"OwnCentres", kOwn, 400, 300, 320, 240, {40, 30, 360, 270}},
                    Case{"OwnOddImage", kOwn, 400, 300, 321, 241, {40, 30, 360, 270}},
                    Case{"OwnFitsExactly", kOwn, 320, 240, 320, 240, {0, 0, 320, 240}},
                    Case{"OwnTooLargeKeepsAspect", kOwn, 400, 200, 640, 480, {67, 0, 333, 200}},
                    Case{"PowerWhole", kPower, 700, 500, 640, 480, {30, 10, 670, 490}},
                    Case{"PowerHalf", kPower, 639, 480, 640, 480, {159, 120, 479, 360}},
                    Case{"PowerQuarter", kPower, 195, 137, 640, 480, {17, 8, 177, 128}},
                    Case{"PowerVanishes", kPower, 10, 10, 4000, 20, {0, 0, 10, 10}},
                    Case{"NaturalFillsWhatDiffersLittle", kNatural, 420, 300, 640, 480, {0, 0, 420, 300}},
                    Case{"NaturalKeepsTheShapeOfAWideOne", kNatural, 400, 300, 1920, 1080, {0, 38, 400, 262}},
                    Case{"NaturalKeepsTheShapeOfATallOne", kNatural, 422, 300, 640, 480, {11, 0, 411, 300}},
                    Case{"NoImage", kKeep, 400, 300, 0, 480, {0, 0, 400, 300}},
                    Case{"NoImageHeight", kPower, 400, 300, 640, 0, {0, 0, 400, 300}},
                    Case{"NegativeHeight", kPower, 400, 300, 640, -480, {0, 0, 400, 300}},
                    Case{"NoView", kPower, 0, 300, 640, 480, {0, 0, 0, 300}}),
    [](const auto& c) { return c.param.name; });

TEST(ShownPart, IsTheWholePictureUnlessTheZoomLiesInside) {
    EXPECT_EQ(ShownPart({}, 640, 480), (PixelRect{0, 0, 640, 480}));
    EXPECT_EQ(ShownPart({10, 20, 110, 95}, 640, 480), (PixelRect{10, 20, 110, 95}));
    EXPECT_EQ(ShownPart({600, 20, 700, 95}, 640, 480), (PixelRect{0, 0, 640, 480}));
    EXPECT_EQ(ShownPart({-2, 0, 100, 95}, 640, 480), (PixelRect{0, 0, 640, 480}));
}

TEST(ViewToPicture, FindsThePixelThroughStripsAndZoom) {
    const PixelRect drawn{50, 0, 250, 100};
    const PixelRect shown{100, 100, 500, 300};
    EXPECT_EQ(ViewToPicture(drawn, shown, 50, 0), (std::pair{100, 100}));
    EXPECT_EQ(ViewToPicture(drawn, shown, 150, 50), (std::pair{300, 200}));
    EXPECT_EQ(ViewToPicture(drawn, shown, 249, 99), (std::pair{498, 298}));
    EXPECT_EQ(ViewToPicture(drawn, shown, 49, 50), std::nullopt);
    EXPECT_EQ(ViewToPicture(drawn, shown, 250, 50), std::nullopt);
}

}  // namespace
}  // namespace kvmon
