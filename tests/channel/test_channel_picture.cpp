#include "channel/picture/channel_picture.h"

#include <gtest/gtest.h>

#include <QtGui/QImage>
#include <QtGui/QPainter>
#include <atomic>
#include <cstdlib>
#include <set>
#include <thread>

#include "allocation_count.h"
#include "channel/base/channel_globals.h"
#include "test_frames.h"

namespace kvmon {
namespace {

using kvtest::Allocations;
using kvtest::MakeFrame;
using kvtest::MakePlainFrame;

constexpr kvtest::Bgr kGreen{0, 200, 0};
constexpr QRgb kGreenRgb = qRgb(0, 200, 0);
constexpr QRgb kGround = qRgb(10, 10, 44);
constexpr QRgb kEventFrame = qRgb(185, 52, 53);
constexpr QRgb kBlack = qRgb(0, 0, 0);

// What the view would show.
QImage PaintOf(ChannelPicture& picture, int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(Qt::magenta);
    QPainter painter(&image);
    EXPECT_TRUE(picture.Paint(painter, width, height));
    return image;
}

void ShowFrame(ChannelPicture& picture, std::unique_ptr<CVideoBmpFrame> frame) {
    picture.SetBitmapInfo(frame->Info());
    picture.Present(std::move(frame));
}

// Equal but for what scaling rounds.
bool Same(QRgb a, QRgb b) {
    return std::abs(qRed(a) - qRed(b)) < 5 && std::abs(qGreen(a) - qGreen(b)) < 5 &&
           std::abs(qBlue(a) - qBlue(b)) < 5;
}

// The smallest rectangle that holds all pixels of other colours than `plain`.
QRect Inked(const QImage& image, QRgb plain) {
    QRect inked;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (!Same(image.pixel(x, y), plain)) {
                inked |= QRect(x, y, 1, 1);
            }
        }
    }
    return inked;
}

TEST(ChannelPicture, ShowsTheGroundBeforeThereIsAPicture) {
    ChannelPicture picture;
    picture.SetViewSize(200, 120);
    EXPECT_TRUE(Inked(PaintOf(picture, 200, 120), kGround).isNull());

    picture.SetMainOsdCameraString("Connecting", CaptionStay::UntilPicture);
    const QRect caption = Inked(PaintOf(picture, 200, 120), kGround);
    EXPECT_FALSE(caption.isNull());
    EXPECT_NEAR(caption.center().x(), 99, 4);
    EXPECT_LE(caption.bottom(), 120 / 8 + 3);
}

// The last picture of a stream that stands still would stay scaled, and as coarse as it was.
TEST(ChannelPicture, AViewThatGrowsWhileAPictureIsComposedGetsItInItsSize) {
    ChannelPicture picture;
    picture.SetViewSize(200, 120);
    picture.SetImageMaker([&](int width, int height) {
        picture.SetViewSize(400, 240);
        return QImage(width, height, QImage::Format_RGB32);
    });
    ShowFrame(picture, MakePlainFrame(64, 64, kGreen));
    PaintOf(picture, 400, 240);
    const QImage* const newest = picture.TakeNewest();
    ASSERT_NE(newest, nullptr);
    EXPECT_EQ(newest->size(), QSize(400, 240));
}

TEST(ChannelPicture, FillsTheStripsBesideThePictureWithBlack) {
    ChannelPicture picture;
    picture.SetViewSize(200, 100);
    picture.SetDisplayMode(DisplayMode::KeepAspect);
    ShowFrame(picture, MakePlainFrame(64, 64, kGreen));
    EXPECT_EQ(picture.GetDrawRect(), (PixelRect{50, 0, 150, 100}));
    EXPECT_EQ(picture.GetSubString(SubString::Draw), "Draw: 100 x 100");
    EXPECT_EQ(picture.GetSubString(SubString::Stream), "Stream: 64 x 64");

    const QImage image = PaintOf(picture, 200, 100);
    for (int y = 0; y < 100; ++y) {
        for (int x = 0; x < 200; ++x) {
            ASSERT_PRED2(Same, image.pixel(x, y), x >= 50 && x < 150 ? kGreenRgb : kBlack) << x << ',' << y;
        }
    }
}

TEST(ChannelPicture, ShowsOnlyTheZoomedPart) {
    ChannelPicture picture;
    picture.SetViewSize(32, 32);
    ShowFrame(picture, MakeFrame(64, 64, [](int x, int y) {
                  return x < 32 && y < 32 ? kvtest::Bgr{255, 0, 0} : kvtest::Bgr{0, 0, 255};
              }));
    EXPECT_EQ(PaintOf(picture, 32, 32).pixel(30, 30), qRgb(255, 0, 0));
    picture.SetZoomRect({0, 0, 32, 32});
    EXPECT_EQ(PaintOf(picture, 32, 32).pixel(30, 30), qRgb(0, 0, 255));
    picture.SetZoomRect({0, 0, 640, 320});  // of a larger picture before
    EXPECT_EQ(PaintOf(picture, 32, 32).pixel(30, 30), qRgb(255, 0, 0));
}

TEST(ChannelPicture, FramesAnEventInAFiftiethOfTheWidth) {
    ChannelPicture picture;
    picture.SetViewSize(200, 100);
    ShowFrame(picture, MakePlainFrame(64, 64, kGreen));
    picture.StartEventHighlight(3);
    EXPECT_EQ(picture.GetEventKind(), 3);
    EXPECT_TRUE(Inked(PaintOf(picture, 200, 100), kGreenRgb).isNull());
    picture.SetEventBlinkState(true);
    const QImage image = PaintOf(picture, 200, 100);
    for (int y = 0; y < 100; ++y) {
        for (int x = 0; x < 200; ++x) {
            const bool inside = x >= 4 && x < 196 && y >= 4 && y < 96;
            ASSERT_PRED2(Same, image.pixel(x, y), inside ? kGreenRgb : kEventFrame) << x << ',' << y;
        }
    }
    // There may be nothing else to see of it.
    picture.ReleasePicture();
    const QImage empty = PaintOf(picture, 200, 100);
    EXPECT_EQ(empty.pixel(3, 50), kEventFrame);
    EXPECT_EQ(empty.pixel(4, 50), kGround);
    picture.EndEventHighlight();
    EXPECT_TRUE(Inked(PaintOf(picture, 200, 100), kGround).isNull());
}

TEST(ChannelPicture, APictureThatStandsStillLosesItsColours) {
    const auto isGrey = [](QRgb pixel) {
        return qRed(pixel) == qGreen(pixel) && qGreen(pixel) == qBlue(pixel);
    };
    ChannelPicture picture;
    picture.SetViewSize(64, 48);
    int wakeUps = 0;
    picture.SetRepaint([&] { ++wakeUps; });
    picture.UpdateStill(90000, 0);
    EXPECT_EQ(picture.GetStillSeconds(), 0) << "without a picture nothing stands still";
    auto frame = MakePlainFrame(64, 64, kGreen);
    picture.SetBitmapInfo(frame->Info());
    picture.Present(std::move(frame), {.nowMs = 100000});
    wakeUps = 0;
    picture.UpdateStill(104999, 0);
    EXPECT_EQ(picture.GetStillSeconds(), 0);
    EXPECT_EQ(wakeUps, 0);
    picture.UpdateStill(105000, 0);
    EXPECT_EQ(picture.GetStillSeconds(), 5);
    EXPECT_EQ(wakeUps, 1);
    const QRgb dimmed = PaintOf(picture, 64, 48).pixel(30, 20);
    EXPECT_TRUE(isGrey(dimmed));
    EXPECT_LT(qRed(dimmed), 100);
    EXPECT_GT(qRed(dimmed), 20);
    picture.UpdateStill(165400, 0);
    EXPECT_EQ(picture.GetStillSeconds(), 65);
    EXPECT_EQ(wakeUps, 2);
    EXPECT_EQ(picture.PictureAgeMs(165400), 65400u);
    // A stream that has just been asked for again gets its time.
    picture.UpdateStill(166000, 165000);
    EXPECT_EQ(picture.GetStillSeconds(), 0);
    EXPECT_FALSE(isGrey(PaintOf(picture, 64, 48).pixel(30, 20)));
    picture.UpdateStill(170000, 165000);
    EXPECT_EQ(picture.GetStillSeconds(), 70);

    picture.Present(MakePlainFrame(64, 64, kGreen), {.nowMs = 170010});
    EXPECT_EQ(picture.GetStillSeconds(), 0);
    EXPECT_FALSE(isGrey(PaintOf(picture, 64, 48).pixel(30, 20)));
}

TEST(ChannelPicture, PrefersTheRecordersCaptionAndCleansTheCamerasWithTheNextPicture) {
    ChannelPicture picture;
    picture.SetViewSize(320, 240);
    ShowFrame(picture, MakePlainFrame(64, 64, kGreen));
    picture.SetMainOsdCameraString("Disconnected", CaptionStay::UntilPicture);
    picture.SetMainOsdCameraString("Left End", CaptionStay::ForAWhile);
    EXPECT_EQ(picture.GetMainCaption(), "Left End");
    picture.SetMainOsdCameraString("", CaptionStay::ForAWhile);
    EXPECT_EQ(picture.GetMainCaption(), "Disconnected") << "it had only been covered";
    picture.SetMainOsdCameraString("Left End", CaptionStay::ForAWhile);
    picture.AutoCleanCaption();
    EXPECT_EQ(picture.GetMainCaption(), "Left End");
    EXPECT_FALSE(Inked(PaintOf(picture, 320, 240), kGreenRgb).isNull());

    picture.SetMainOsdCameraString("Disconnected", CaptionStay::UntilPicture);
    picture.SetMainOsdKelvaraString("Recorder");
    EXPECT_EQ(picture.GetMainCaption(), "Recorder");
    picture.SetMainOsdKelvaraString("");
    EXPECT_EQ(picture.GetMainCaption(), "Disconnected");
    picture.AutoCleanCaption();
    EXPECT_EQ(picture.GetMainCaption(), "");
    EXPECT_TRUE(Inked(PaintOf(picture, 320, 240), kGreenRgb).isNull());
}

TEST(ChannelPicture, CaptionsCanBeReadOnAnyPicture) {
    for (const kvtest::Bgr ground :
         {kvtest::Bgr{255, 255, 255}, kvtest::Bgr{0, 0, 0}, kvtest::Bgr{72, 145, 229}}) {
        const QRgb plain = qRgb(ground[2], ground[1], ground[0]);
        ChannelPicture picture;
        picture.SetViewSize(120, 40);  // an eighth of it would be 5 pixels
        ShowFrame(picture, MakePlainFrame(64, 64, ground));
        for (const std::uint32_t colour : {kDefaultOsdColor, std::uint32_t{0}, std::uint32_t{0x00FFFFFF}}) {
            const QRgb ink = qRgb(colour & 0xFF, colour >> 8 & 0xFF, colour >> 16 & 0xFF);
            picture.SetMainOsdColor(colour);
            picture.SetMainOsdCameraString("Hill", CaptionStay::UntilPicture);
            const QImage image = PaintOf(picture, 120, 40);
            QRect letters;
            int darkest = 255;
            int lightest = 0;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    const int grey = qGray(image.pixel(x, y));
                    if (std::abs(grey - qGray(ink)) < 50 && std::abs(qGray(plain) - qGray(ink)) > 50) {
                        letters |= QRect(x, y, 1, 1);
                    }
                    if (x >= 55 && x < 65 && y < 9) {
                        darkest = std::min(darkest, grey);
                        lightest = std::max(lightest, grey);
                    }
                }
            }
            if (!letters.isNull()) {
                EXPECT_GE(letters.height(), 6) << "of 10 pixels' height, without what is below the line";
            }
            EXPECT_GT(lightest - darkest, 60) << std::hex << plain << " " << colour;
        }
    }
}

TEST(ChannelPicture, ShrinksTheCaptionToTheViewOrLeavesItOut) {
    ChannelPicture picture;
    picture.SetViewSize(160, 240);
    ShowFrame(picture, MakePlainFrame(64, 64, kGreen));
    picture.SetMainOsdCameraString("A caption that is too wide at the largest height",
                                   CaptionStay::ForAWhile);
    const QRect shrunk = Inked(PaintOf(picture, 160, 240), kGreenRgb);
    EXPECT_GT(shrunk.width(), 100);
    EXPECT_LT(shrunk.bottom(), 16);

    picture.SetViewSize(8, 240);
    picture.SetMainOsdCameraString(std::string(200, 'W'), CaptionStay::ForAWhile);
    EXPECT_TRUE(Inked(PaintOf(picture, 8, 240), kGreenRgb).isNull());

    // Markup, accelerators, line ends and floods are text like any other.
    picture.SetViewSize(160, 240);
    picture.SetMainOsdCameraString("&<b>x</b>\n%s%n" + std::string(100000, '\x01'), CaptionStay::ForAWhile);
    PaintOf(picture, 160, 240);
}

TEST(ChannelPicture, StacksTheLinesThatTheMaskAllows) {
    ChannelPicture picture;
    picture.SetViewSize(320, 240);
    ShowFrame(picture, MakePlainFrame(64, 64, kGreen));
    const auto inked = [&] { return Inked(PaintOf(picture, 320, 240), kGreenRgb); };
    picture.SetSubString(SubString::FrameRate, "Frame Rate: 25.00");
    EXPECT_TRUE(inked().isNull());

    picture.SetShowSubStringMask(0x2 | 0x4 | 0x10);
    const QRect two = inked();  // the rate and "Stream", the count is empty
    EXPECT_LE(two.left(), 3);
    EXPECT_GT(two.bottom(), 20);
    EXPECT_LE(two.bottom(), 33);

    picture.SetShowSubStringMask(0x2);
    EXPECT_LE(inked().bottom(), 17);

    Globals().debugLines = true;
    EXPECT_TRUE(picture.IsLineShown(SubString::View));
    picture.Present(MakePlainFrame(64, 64, kGreen));
    const QRect all = inked();  // rate, count, view, stream, draw
    Globals().debugLines = false;
    EXPECT_GT(all.bottom(), 48);
}

TEST(ChannelPicture, CountsPicturesOnlyInALineThatIsShown) {
    ChannelPicture picture;
    auto countLine = [&picture, shown = std::uint64_t{0}](std::uint32_t mask) mutable {
        picture.SetShowSubStringMask(mask);
        picture.Present(MakePlainFrame(64, 64, kGreen), {.shown = ++shown});
        return picture.GetSubString(SubString::FrameCount);
    };
    EXPECT_EQ(countLine(0), "");
    EXPECT_EQ(countLine(0x4), "Frame Count: 2");
    EXPECT_EQ(countLine(0), "");
}

TEST(ChannelPicture, DrawsCaptionsInTheColourThatIsSet) {
    ChannelPicture picture;
    picture.SetViewSize(320, 240);
    ShowFrame(picture, MakePlainFrame(64, 64, kGreen));
    picture.SetMainOsdCameraString("IIIIII", CaptionStay::ForAWhile);
    const auto has = [](const QImage& image, QRgb colour) {
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixel(x, y) == colour) {
                    return true;
                }
            }
        }
        return false;
    };
    EXPECT_TRUE(has(PaintOf(picture, 320, 240), qRgb(0xE5, 0x91, 0x48)));
    picture.SetMainOsdColor(0x000000FF);
    const QImage image = PaintOf(picture, 320, 240);
    EXPECT_TRUE(has(image, qRgb(255, 0, 0)));
    EXPECT_TRUE(has(image, kBlack));  // the shadow
    picture.ResetSettings();
    EXPECT_EQ(picture.GetMainOsdColor(), kDefaultOsdColor);
}

TEST(ChannelPicture, ScalesCaptionsWithThePixelRatio) {
    ChannelPicture picture;
    picture.SetViewSize(400, 400);
    picture.SetShowSubStringMask(0x10);
    ShowFrame(picture, MakePlainFrame(64, 64, kGreen));
    const int once = Inked(PaintOf(picture, 400, 400), kGreenRgb).height();
    picture.SetPixelRatio(2.0);
    const int twice = Inked(PaintOf(picture, 400, 400), kGreenRgb).height();
    EXPECT_NEAR(twice, 2 * once, 3);

    // A painter in units of two pixels gets the very pixels.
    QImage device(400, 400, QImage::Format_RGB32);
    device.setDevicePixelRatio(2.0);
    {
        QPainter painter(&device);
        EXPECT_TRUE(picture.Paint(painter, 200, 200));
    }
    device.setDevicePixelRatio(1.0);
    EXPECT_EQ(device, PaintOf(picture, 400, 400));
}

TEST(ChannelPicture, DeinterlacesByTheViewsHeight) {
    // Rows of the bitmap's memory: even ones 100; odd ones 110 on the left half, 200 on the right.
    const auto combed = [] {
        return MakeFrame(40, 40, [](int x, int y) {
            const bool odd = (39 - y) % 2 != 0;
            const auto value = static_cast<std::uint8_t>(!odd ? 100 : x < 20 ? 110 : 200);
            return kvtest::Bgr{value, value, value};
        });
    };
    ChannelPicture picture;
    picture.SetDeinterlace(true);
    EXPECT_EQ(picture.GetSubString(SubString::Deinterlace), "Deinterlace: On");
    picture.SetViewSize(40, 40);
    ShowFrame(picture, combed());
    const QImage filtered = PaintOf(picture, 40, 40);
    EXPECT_EQ(filtered.pixel(5, 20), qRgb(110, 110, 110));  // 19 from below: odd, and kept
    EXPECT_EQ(filtered.pixel(5, 21), qRgb(100, 100, 100));
    EXPECT_EQ(filtered.pixel(30, 20), qRgb(100, 100, 100));

    picture.SetViewSize(40, 19);  // a picture of more than twice the view's height
    EXPECT_TRUE(Inked(PaintOf(picture, 40, 19), qRgb(100, 100, 100)).isNull());
    picture.SetDeinterlace(false);
    EXPECT_FALSE(Inked(PaintOf(picture, 40, 19), qRgb(100, 100, 100)).isNull());
}

TEST(ChannelPicture, KeepsThePictureUntilTheFirstOneOfANewSize) {
    ChannelPicture picture;
    picture.SetViewSize(32, 32);
    ShowFrame(picture, MakePlainFrame(64, 64, kGreen));
    picture.SetBitmapInfo(MakeBitmapInfo(32, 16));
    EXPECT_TRUE(Inked(PaintOf(picture, 32, 32), kGreenRgb).isNull());
    picture.SetViewSize(48, 40);  // nor does a new cell go black
    EXPECT_TRUE(Inked(PaintOf(picture, 48, 40), kGreenRgb).isNull());
    EXPECT_NE(picture.Present(MakePlainFrame(32, 16, {0, 0, 200})), nullptr);
    EXPECT_FALSE(Inked(PaintOf(picture, 48, 40), kGreenRgb).isNull());
}

TEST(ChannelPicture, ComposesAnewForAPaintWhenThePictureStandsStill) {
    ChannelPicture picture;
    picture.SetViewSize(32, 32);
    ShowFrame(picture, MakePlainFrame(64, 64, kGreen));
    picture.SetViewSize(50, 40);
    EXPECT_TRUE(Inked(PaintOf(picture, 50, 40), kGreenRgb).isNull());
    picture.SetViewSize(0, 0);
    picture.Present(MakePlainFrame(64, 64, kGreen));  // nobody looks: nothing to draw on
}

TEST(ChannelPicture, PaintNeverWaitsForTheDecodeThread) {
    ChannelPicture picture;
    picture.SetViewSize(64, 64);
    std::atomic<int> wakeUps{0};
    picture.SetRepaint([&] { ++wakeUps; });
    std::atomic<bool> stop{false};
    std::thread decode([&] {
        auto frame = MakePlainFrame(64, 64, kGreen);
        auto next = MakePlainFrame(64, 64, {0, 0, 0});
        picture.SetBitmapInfo(frame->Info());
        while (!stop) {
            frame = picture.Present(std::move(frame));
            std::swap(frame, next);
            if (!frame) {
                frame = MakePlainFrame(64, 64, kGreen);
            }
        }
    });
    QImage image(64, 64, QImage::Format_RGB32);
    std::set<QRgb> seen;
    for (int i = 0; i < 3000; ++i) {
        QPainter painter(&image);
        if (picture.Paint(painter, 64, 64)) {
            seen.insert(image.pixel(63, 63));
            ASSERT_EQ(image.pixel(0, 63), image.pixel(63, 63)) << "torn";
        }
        if (i % 50 == 0) {
            picture.SetViewSize(64, 64 + i % 3);
            picture.ReleasePicture();
        }
    }
    stop = true;
    decode.join();
    EXPECT_GT(wakeUps, 0);
    seen.erase(kGreenRgb);
    seen.erase(kBlack);
    seen.erase(kGround);
    EXPECT_TRUE(seen.empty());
}

TEST(ChannelPicture, AllocatesNothingInASteadyState) {
    ChannelPicture picture;
    picture.SetViewSize(195, 137);
    picture.SetRepaint([] {});
    picture.SetMainOsdCameraString("Caption", CaptionStay::ForAWhile);
    picture.SetShowSubStringMask(0x18);
    picture.StartEventHighlight(0);
    picture.SetEventBlinkState(true);
    auto frame = MakePlainFrame(320, 240, kGreen);
    auto other = MakePlainFrame(320, 240, kGreen);
    picture.SetBitmapInfo(frame->Info());
    QImage image(195, 137, QImage::Format_RGB32);
    std::set<const void*> images;
    const auto pass = [&] {
        const std::uint64_t before = Allocations();
        picture.SetBitmapInfo(MakeBitmapInfo(320, 240));
        frame = picture.Present(std::move(frame));
        const std::uint64_t after = Allocations();
        std::swap(frame, other);
        return after - before;
    };
    for (int i = 0; i < 4; ++i) {
        pass();
        QPainter painter(&image);
        picture.Paint(painter, 195, 137);
        if (!frame) {
            frame = MakePlainFrame(320, 240, kGreen);
        }
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(pass(), 0u);
        QPainter painter(&image);
        picture.Paint(painter, 195, 137);
    }
}

}  // namespace
}  // namespace kvmon
