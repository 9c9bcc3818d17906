#include "channel/picture/digital_zoom.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "channel/base/cam_commands.h"

namespace kvmon {
namespace {

constexpr int kUnknownCommand = 1811;

// The width that a level stands for: so many steps of 2 %, each rounded down, then an even number.
int WidthOf(int level, int width) {
    for (int i = 0; i < level; ++i) {
        width = width * 49 / 50;
    }
    return width / 2 * 2;
}

DigitalZoom Zoomed(int width, int height, int view, int level) {
    DigitalZoom zoom;
    zoom.SetPictureSize(width, height);
    zoom.SetViewWidth(view);
    zoom.Switch(true);
    zoom.DZSetMultiple(level);
    return zoom;
}

TEST(DigitalZoomTest, LevelsAreStepsOfTwoPercent) {
    DigitalZoom zoom = Zoomed(640, 480, 320, 0);
    EXPECT_EQ(zoom.GetRect(), (PixelRect{0, 0, 640, 480}));
    zoom.DZSetMultiple(1);  // 627 x 470, by halves 313 x 235
    EXPECT_EQ(zoom.GetRect(), (PixelRect{7, 5, 633, 475}));
    zoom.DZSetMultiple(1);  // 614 x 460
    EXPECT_EQ(zoom.GetRect(), (PixelRect{13, 10, 627, 470}));
    zoom.DZSetMultiple(-5);
    EXPECT_EQ(zoom.GetLevel(), 0);
    EXPECT_EQ(zoom.GetRect(), (PixelRect{0, 0, 640, 480}));
    EXPECT_EQ(zoom.DZPTZFunction(kCmdZoomOut), 5);
}

TEST(DigitalZoomTest, EndsWhereTheViewIsThreeTimesAsWide) {
    DigitalZoom zoom = Zoomed(640, 480, 320, 0);
    int presses = 0;
    while (zoom.DZPTZFunction(kCmdZoomIn) == 0) {
        ASSERT_LT(++presses, 1000);
    }
    EXPECT_EQ(zoom.DZPTZFunction(kCmdZoomIn), 6);
    EXPECT_EQ(zoom.GetLevel(), presses);
    EXPECT_EQ(zoom.GetRect().Width(), WidthOf(presses, 640));
    EXPECT_GE(320 / WidthOf(presses, 640), 3);
    EXPECT_LT(320 / (WidthOf(presses - 1, 640) + 1), 3);
    // A wider view takes levels back, the other way the level stands.
    zoom.SetViewWidth(960);
    EXPECT_LT(zoom.GetLevel(), presses);
    EXPECT_GE(960 / WidthOf(zoom.GetLevel(), 640), 3);
    const int level = zoom.GetLevel();
    zoom.SetViewWidth(100);
    EXPECT_EQ(zoom.GetLevel(), level);
}

TEST(DigitalZoomTest, PanningTellsTheEdges) {
    const struct {
        std::uint32_t command;
        int free, inCorner;
        int across;  // with the edge of the horizontal axis alone
    } cases[] = {
        {kCmdUpLeft, 0, 11, 2}, {kCmdUpRight, 0, 12, 1}, {kCmdDownLeft, 0, 13, 2}, {kCmdDownRight, 0, 14, 1},
        {kCmdUp, 0, 3, 0},      {kCmdDown, 0, 4, 0},     {kCmdLeft, 0, 2, 2},      {kCmdRight, 0, 1, 1},
    };
    for (const auto& c : cases) {
        DigitalZoom zoom = Zoomed(400, 400, 100, 40);
        EXPECT_EQ(zoom.DZPTZFunction(c.command), c.free) << c.command;
        int last = 0;
        for (int i = 0; i < 60; ++i) {
            last = zoom.DZPTZFunction(c.command).value_or(-1);
        }
        EXPECT_EQ(last, c.inCorner) << c.command;
        // Home keeps the size.
        const int width = zoom.GetRect().Width();
        EXPECT_EQ(zoom.DZPTZFunction(kCmdHome), 0);
        EXPECT_EQ(zoom.GetRect().left + zoom.GetRect().right, 400);
        EXPECT_EQ(zoom.GetRect().Width(), width);
        if (c.across != 0) {
            const std::uint32_t side = c.across == 2 ? kCmdLeft : kCmdRight;
            while (zoom.DZPTZFunction(side) == 0) {
            }
            EXPECT_EQ(zoom.DZPTZFunction(c.command), c.across) << c.command;
        }
    }
    DigitalZoom zoom = Zoomed(400, 400, 100, 40);
    EXPECT_EQ(zoom.DZPTZFunction(kUnknownCommand), std::nullopt);
    EXPECT_EQ(zoom.DZPTZFunction(kCmdFocusFar), std::nullopt);
    zoom.Switch(false);
    EXPECT_EQ(zoom.DZPTZFunction(kCmdUp), std::nullopt);
    EXPECT_EQ(zoom.GetRect(), (PixelRect{0, 0, 400, 400}));
}

TEST(DigitalZoomTest, ClampingIsQuietAtTheFirstLevels) {
    for (const int level : {3, 4}) {
        DigitalZoom zoom = Zoomed(400, 300, 100, level);
        const ZoomOutcome outcome = zoom.DZMoveToPicPos(-50, 1000);
        EXPECT_EQ(outcome.code, 13);
        EXPECT_EQ(outcome.bReported, level > 3);
        EXPECT_EQ(zoom.GetRect().left, 0);
        EXPECT_EQ(zoom.GetRect().bottom, 300);
    }
    EXPECT_EQ(Zoomed(400, 300, 100, 0).DZClampRect().code, -1);
}

TEST(DigitalZoomTest, TheMouseMeansThePicture) {
    const PixelRect view{0, 0, 200, 150};
    DigitalZoom zoom = Zoomed(640, 480, 200, 40);
    const PixelRect start = zoom.GetRect();
    const auto centre = [&zoom] { return (zoom.GetRect().left + zoom.GetRect().right) / 2; };
    // The point clicked becomes the middle.
    const ZoomPoint meant = zoom.DZViewToPicPos(view, {130, 75});
    zoom.DZTouchAndGo(view, {130, 75});
    EXPECT_EQ(centre(), meant.x);
    EXPECT_EQ(zoom.GetRect().top, start.top);

    // A drag follows the pointer from where it began, and takes the way back at an edge at once.
    zoom.StartDrag({100, 100});
    const int before = zoom.GetRect().left;
    zoom.DZDragMove({90, 100}, 200, 150);
    zoom.DZDragMove({80, 100}, 200, 150);
    EXPECT_EQ(zoom.GetRect().left, before + 20 * start.Width() / 200);
    EXPECT_EQ(zoom.DZDragMove({4000, 100}, 200, 150).code, 2);
    EXPECT_EQ(zoom.GetRect().left, 0);
    zoom.DZDragMove({3900, 100}, 200, 150);
    EXPECT_EQ(zoom.GetRect().left, 100 * start.Width() / 200);

    zoom.Switch(false);
    EXPECT_EQ(zoom.DZViewToPicPos(view, {100, 75}).x, 0);
    EXPECT_EQ(zoom.DZTouchAndGo(view, {0, 0}).code, 0);
    EXPECT_EQ(zoom.GetRect(), (PixelRect{0, 0, 640, 480}));
}

TEST(DigitalZoomTest, StoredStatesAreNotTrusted) {
    constexpr int kMost = std::numeric_limits<int>::max();
    constexpr int kLeast = std::numeric_limits<int>::min();
    const DigitalZoom::State states[] = {
        {true, kMost, {kMost, kMost, kMost, kMost}}, {true, kLeast, {0, 0, 10, 10}},
        {true, 5, {0, 0, 100000, 100000}},           {true, 30, {500, 500, -500, -500}},
        {true, 7, {kLeast, kLeast, kMost, kMost}},
    };
    for (const auto& state : states) {
        DigitalZoom zoom;
        zoom.Restore(state);
        zoom.DZPTZFunction(kCmdRight);
        zoom.SetPictureSize(1, 1);
        zoom.SetPictureSize(640, 480);
        zoom.SetViewWidth(300);
        const PixelRect& rect = zoom.GetRect();
        EXPECT_TRUE(rect.left >= 0 && rect.top >= 0 && rect.right <= 640 && rect.bottom <= 480);
        EXPECT_FALSE(rect.IsEmpty());
    }
    // The stored place survives a restart.
    const DigitalZoom before = Zoomed(640, 480, 300, 30);
    DigitalZoom after;
    after.Restore(before.Get());
    after.SetPictureSize(640, 480);
    after.SetViewWidth(300);
    EXPECT_EQ(after.GetRect(), before.GetRect());
}

// Whatever is done in whatever order: the rectangle is a part of the picture, even and of its level's width,
// and a code tells of exactly the edges that the rectangle lies at.
TEST(DigitalZoomTest, HoldsItsRulesWhateverIsDone) {
    std::mt19937 random(7);
    const auto below = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    for (int run = 0; run < 200; ++run) {
        int width = 16 + below(1900);
        int height = 16 + below(1080);
        DigitalZoom zoom = Zoomed(width, height, 20 + below(1200), below(60));
        for (int step = 0; step < 100; ++step) {
            const PixelRect view{0, 0, 40 + below(600), 30 + below(500)};
            const ZoomPoint point{below(view.right), below(view.bottom)};
            switch (below(8)) {
                case 0:
                    zoom.ZoomAt(view, point, below(21) - 10);
                    break;
                case 1:
                    zoom.StartDrag(point);
                    zoom.DZDragMove({below(2000) - 1000, below(2000) - 1000}, view.right, view.bottom);
                    break;
                case 2:
                    zoom.DZTouchAndGo(view, point);
                    break;
                case 3:
                    zoom.SetViewWidth(below(1500));
                    break;
                case 4:
                    width = 16 + below(1900);
                    height = 16 + below(1080);
                    zoom.SetPictureSize(width, height);
                    break;
                default: {
                    const auto command = static_cast<std::uint32_t>(kCmdUp) + static_cast<unsigned>(below(8));
                    const int level = zoom.GetLevel();
                    const int code = zoom.DZPTZFunction(command).value_or(-1);
                    const PixelRect& rect = zoom.GetRect();
                    EXPECT_EQ(zoom.GetLevel(), level);
                    const bool bTop = code == 3 || code == 11 || code == 12;
                    const bool bBottom = code == 4 || code == 13 || code == 14;
                    const bool bLeft = code == 2 || code == 11 || code == 13;
                    const bool bRight = code == 1 || code == 12 || code == 14;
                    EXPECT_TRUE(!bTop || rect.top == 0);
                    EXPECT_TRUE(!bLeft || rect.left == 0);
                    EXPECT_TRUE(!bBottom || rect.bottom == height);
                    EXPECT_TRUE(!bRight || rect.right == width);
                    EXPECT_TRUE(code >= 0);
                    break;
                }
            }
            const PixelRect& rect = zoom.GetRect();
            ASSERT_TRUE(rect.left >= 0 && rect.top >= 0 && rect.right <= width && rect.bottom <= height);
            ASSERT_FALSE(rect.IsEmpty());
            if (zoom.GetLevel() == 0) {
                ASSERT_EQ(rect, (PixelRect{0, 0, width, height}));
            } else {
                ASSERT_EQ(rect.Width(), WidthOf(zoom.GetLevel(), width));
                ASSERT_EQ(rect.Height() % 2, 0);
            }
        }
    }
}

TEST(DigitalZoomTest, AStoredZoomWaitsForThePicturesThatItBelongsTo) {
    DigitalZoom before;
    before.SetPictureSize(1280, 960);
    before.SetViewWidth(700);
    before.Switch(true);
    for (int i = 0; i < 30; ++i) {
        before.DZPTZFunction(kCmdZoomIn);
    }
    before.DZMoveToPicPos(300, 700);
    const DigitalZoom::State stored = before.Get();

    DigitalZoom zoom;
    zoom.Restore(stored);
    zoom.SetViewWidth(700);
    zoom.SetPictureSize(320, 240);  // the small stream comes first
    EXPECT_LE(zoom.GetRect().right, 320);
    EXPECT_EQ(zoom.Get().nLevel, stored.nLevel);  // and is not stored in its place
    zoom.SetPictureSize(1280, 960);
    EXPECT_EQ(zoom.GetLevel(), stored.nLevel);
    EXPECT_EQ(zoom.GetRect(), stored.rect);
    // From the user's first step on it is his.
    zoom.DZPTZFunction(kCmdZoomOut);
    EXPECT_EQ(zoom.Get().nLevel, stored.nLevel - 1);
    zoom.SetPictureSize(640, 480);
    EXPECT_LT(zoom.GetLevel(), stored.nLevel);
}

}  // namespace
}  // namespace kvmon
