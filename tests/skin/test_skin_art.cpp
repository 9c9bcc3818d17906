#include <gtest/gtest.h>

#include <QtGui/QPainter>
#include <set>

#include "skin/background.h"
#include "skin/button_art.h"
#include "skin/skin_colours.h"
#include "skin/xskin_dialog.h"
#include "skin/xskin_od_button.h"

namespace kvmon {
namespace {

const SkinColours& kColours = ColoursOf(SkinLook::Dark);

struct Sized {
    int id;
    QSize size;
};

// The control table's buttons with their sizes.
constexpr Sized kButtons[] = {
    {1651, {141, 23}}, {1652, {48, 43}}, {1650, {12, 43}}, {1653, {63, 43}}, {1660, {41, 29}},
    {1661, {41, 29}},  {1662, {35, 29}}, {1663, {8, 29}},  {1750, {18, 18}}, {1752, {18, 18}},
    {1753, {18, 18}},  {1754, {18, 18}}, {1800, {23, 25}}, {1801, {48, 11}}, {1802, {48, 11}},
    {1803, {11, 48}},  {1804, {11, 48}}, {1805, {12, 11}}, {1806, {12, 11}}, {1807, {12, 11}},
    {1808, {12, 11}},  {1810, {19, 12}}, {1809, {19, 12}}, {1841, {9, 19}},  {1842, {9, 19}},
    {1811, {28, 18}},  {1820, {28, 18}},
};

QImage Picture(int id, QSize size, double scale, ButtonLook look, bool checked) {
    return RenderButton(id, size, scale, look, checked, kColours)
        .toImage()
        .convertToFormat(QImage::Format_ARGB32);
}

std::string Bytes(const QImage& image) {
    return {reinterpret_cast<const char*>(image.constBits()), static_cast<std::size_t>(image.sizeInBytes())};
}

TEST(ButtonArt, EachStateOfEachButtonLooksDifferent) {
    for (const auto& [id, size] : kButtons) {
        ASSERT_TRUE(HasButtonArt(id)) << id;
        std::set<std::string> seen;
        for (int n = 0; n < kButtonBitmaps; ++n) {
            const auto look = static_cast<ButtonLook>(n % kButtonLooks);
            seen.insert(Bytes(Picture(id, size, 1, look, n >= kButtonLooks)));
        }
        // The diagonal arrows have no plate at rest, and a plain button is never checked.
        EXPECT_GE(seen.size(), 8U) << id;
    }
}

TEST(ButtonArt, EachSignOfOneSizeIsDifferent) {
    std::set<std::string> seen;
    for (const auto& [id, size] : kButtons) {
        seen.insert(Bytes(Picture(id, {40, 40}, 1, ButtonLook::kNormal, false)));
    }
    // The two "settings of the neighbour" buttons share their sign.
    EXPECT_EQ(seen.size(), std::size(kButtons) - 1);
}

// Strong enough to be seen: the sign's ink against the plate.
TEST(ButtonArt, SignsStandOutFromTheirPlate) {
    for (const auto& [id, size] : kButtons) {
        const QImage picture = Picture(id, size, 1, ButtonLook::kNormal, false);
        int ink = 0;
        for (int y = 1; y < picture.height() - 1; ++y) {
            for (int x = 1; x < picture.width() - 1; ++x) {
                const QColor pixel = picture.pixelColor(x, y);
                ink += pixel.alpha() > 200 && pixel.lightness() > 140 ? 1 : 0;
            }
        }
        EXPECT_GE(ink, 8) << id;
    }
}

TEST(ButtonArt, IsDrawnForTheScaleAndNotStretched) {
    for (const auto& [id, size] : kButtons) {
        const QImage one = Picture(id, size, 1, ButtonLook::kNormal, false);
        const QImage two = Picture(id, size, 2, ButtonLook::kNormal, false);
        EXPECT_EQ(one.size(), size);
        EXPECT_EQ(two.size(), size * 2);
        EXPECT_NE(Bytes(two), Bytes(one.scaled(size * 2).convertToFormat(QImage::Format_ARGB32))) << id;
    }
    EXPECT_EQ(RenderButton(1653, {63, 43}, 1.5, ButtonLook::kNormal, false, kColours).size(), QSize(95, 65));
    EXPECT_TRUE(RenderButton(1653, {0, 0}, 1, ButtonLook::kNormal, false, kColours).isNull());
    EXPECT_FALSE(HasButtonArt(9999));
    EXPECT_FALSE(RenderButton(9999, {20, 20}, 1, ButtonLook::kNormal, false, kColours).isNull());
}

TEST(ButtonArt, AButtonAsksForABitmapOnceForAStateAndSize) {
    CXSkinODButton button(1653, ButtonMode::kToggle, nullptr);
    button.resize(63, 43);
    int asked = 0;
    button.SetBitmaps(
        [&asked](QSizeF size, double, ButtonLook, bool) {
            ++asked;
            QPixmap bitmap(size.toSize());
            bitmap.fill(Qt::red);
            return bitmap;
        },
        true);
    for (int n = 0; n < 3; ++n) {
        EXPECT_EQ(button.grab().toImage().pixelColor(5, 5), QColor(Qt::red));
    }
    EXPECT_EQ(asked, 1);
    button.SetCheck(BST_CHECKED);
    button.grab();
    EXPECT_EQ(asked, 2);
    button.resize(64, 43);
    button.grab();
    EXPECT_EQ(asked, 3);
}

TEST(Background, WellAndPanelReachWhereTheyShould) {
    for (const QSize size : {QSize(1000, 680), QSize(1600, 1000)}) {
        QImage picture(size, QImage::Format_RGB32);
        QPainter painter(&picture);
        DrawSkinBackground(painter, size, kColours, QRect(QPoint(), size));
        painter.end();
        const QRect view = SkinViewRect(size);
        EXPECT_EQ(picture.pixel(view.topLeft()), kColours.well);
        EXPECT_EQ(picture.pixel(view.bottomRight()), kColours.well);
        EXPECT_NE(picture.pixel(view.bottomRight() + QPoint(4, 4)), kColours.well);
        const QRect panel = SkinPanelRect(size);
        EXPECT_EQ(picture.pixel(panel.bottomRight() - QPoint(8, 4)), kColours.panel);
        EXPECT_TRUE(QRect(QPoint(), size).contains(panel));
        EXPECT_TRUE(QRect(QPoint(), size).contains(SkinStatusRect(size)));
        EXPECT_FALSE(SkinStatusRect(size).intersects(view));
    }
}

TEST(Background, PartsAreThoseOfTheWhole) {
    for (const double scale : {1.0, 1.25}) {
        const QSize size(1100, 740);
        const auto blank = [&] {
            QImage picture(size * scale, QImage::Format_RGB32);
            picture.setDevicePixelRatio(scale);
            return picture;
        };
        QImage whole = blank();
        QPainter all(&whole);
        DrawSkinBackground(all, size, kColours, QRect(QPoint(), size));
        all.end();
        QImage tiled = blank();
        QPainter painter(&tiled);
        constexpr int kTile = 20;  // whole pixels in both scales
        for (int y = 0; y < size.height(); y += kTile) {
            for (int x = 0; x < size.width(); x += kTile) {
                const QRect part(x, y, kTile, kTile);
                painter.setClipRegion(part);
                DrawSkinBackground(painter, size, kColours, part);
            }
        }
        painter.end();
        EXPECT_EQ(tiled, whole) << scale;
    }
}

TEST(Background, TheDialogRedrawsItForANewSize) {
    CXSkinDialog dialog;
    dialog.resize(kSkinSize);
    EXPECT_EQ(dialog.grab().toImage().pixel(400, 300), kColours.well);
    dialog.resize(1400, 900);
    const QImage picture = dialog.grab().toImage();
    const double scale = dialog.devicePixelRatioF();
    EXPECT_EQ(picture.size(), QSize(1400, 900) * scale);
    EXPECT_EQ(picture.pixel((QPointF(1150, 800) * scale).toPoint()), kColours.well);
}

}  // namespace
}  // namespace kvmon
