// Pictures on a real X11 display, seen by another of its clients.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <xcb/shm.h>

#include <QtCore/QElapsedTimer>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "app/x11_connection.h"
#include "app/x11_screen.h"
#include "onlooker.h"
#include "support/must_run.h"

namespace kvmon {
namespace {

using kvtest::Onlooker;

constexpr QRgb kRed = 0xFFFF0000;
constexpr QRgb kGreen = 0xFF00FF00;
constexpr QRgb kBlue = 0xFF0000FF;
constexpr QRect kPlace(20, 10, 101, 83);

class Area final : public QWidget {
public:
    using QWidget::QWidget;
    QRgb colour = kBlue;

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), QColor::fromRgb(colour)); }
};

template <typename Done>
bool RunUntil(const Done& done) {
    QElapsedTimer time;
    time.start();
    while (!done() && time.elapsed() < 10000) {
        QApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return done();
}

class X11Pictures : public testing::Test {
protected:
    void SetUp() override {
        if (QGuiApplication::platformName() != QLatin1String("xcb")) {
            KV_SKIP("there is no Xvfb");
        }
        onlooker.emplace();
        screen = OpenX11Screen();
        ASSERT_NE(screen, nullptr);
        window.setGeometry(0, 0, 300, 200);
        area.setGeometry(kPlace);
        window.show();
        ASSERT_TRUE(RunUntil([&] { return Seen() == kBlue; }));
    }
    QRgb Seen() const { return onlooker->ColourAt(window.mapToGlobal(kPlace.center())); }
    QImage Filled(QRgb colour, const QSize& size = kPlace.size()) {
        QImage image = screen->ImageMaker()(size.width(), size.height());
        image.fill(colour);
        return image;
    }
    bool Show(const QImage& image) {
        const bool bPut = screen->Put(area, image);
        screen->Flush();
        return bPut;
    }

    std::optional<Onlooker> onlooker;
    std::unique_ptr<DirectScreen> screen;
    QWidget window{nullptr, Qt::FramelessWindowHint | Qt::BypassWindowManagerHint};
    Area area{&window};
};

TEST_F(X11Pictures, AnImageIsSeenInItsPlaceAndNowhereElse) {
    const QImage image = Filled(kRed);
    ASSERT_TRUE(Show(image));
    ASSERT_TRUE(RunUntil([&] { return Seen() == kRed; }));
    EXPECT_TRUE(RunUntil([&] { return screen->IsRead(); }));
    const QPoint corner = window.mapToGlobal(kPlace.topLeft());
    const QPoint end = window.mapToGlobal(kPlace.bottomRight());
    EXPECT_EQ(onlooker->ColourAt(corner), kRed);
    EXPECT_EQ(onlooker->ColourAt(end), kRed);
    EXPECT_NE(onlooker->ColourAt(corner - QPoint(1, 0)), kRed);
    EXPECT_NE(onlooker->ColourAt(end + QPoint(1, 0)), kRed);
    EXPECT_NE(onlooker->ColourAt(end + QPoint(0, 1)), kRed);
}

TEST_F(X11Pictures, WhatOnlyTheToolkitCanPaintIsRefused) {
    EXPECT_FALSE(Show(Filled(kRed, kPlace.size() + QSize(1, 0))));
    QImage ordinary(kPlace.size(), QImage::Format_RGB32);
    ordinary.fill(kRed);
    EXPECT_FALSE(Show(ordinary));
    const QImage image = Filled(kRed);
    {
        QWidget over(&window);
        over.setGeometry(kPlace.right() - 3, kPlace.bottom() - 3, 10, 10);
        EXPECT_TRUE(Show(image));  // not shown yet
        over.show();
        EXPECT_FALSE(Show(image));
        over.lower();
        EXPECT_TRUE(Show(image));
        over.raise();
        EXPECT_FALSE(Show(image));
    }
    EXPECT_TRUE(Show(image));
    area.move(250, 10);  // beyond the window's edge
    EXPECT_FALSE(Show(image));
    area.hide();
    EXPECT_FALSE(Show(image));
}

// The toolkit's copy of the window has none of what was put: where it shows that copy, it paints first.
TEST_F(X11Pictures, AnUncoveredWindowShowsWhatIsNewest) {
    ASSERT_TRUE(Show(Filled(kRed)));
    ASSERT_TRUE(RunUntil([&] { return Seen() == kRed; }));
    area.colour = kGreen;
    onlooker->Cover();
    EXPECT_NE(Seen(), kRed);
    onlooker->Uncover();
    EXPECT_TRUE(RunUntil([&] {
        EXPECT_NE(Seen(), kBlue);
        return Seen() == kGreen;
    }));
}

TEST_F(X11Pictures, ADisplayThatRefusesAnImageIsPaintedOn) {
    ASSERT_TRUE(Show(Filled(kRed)));
    ASSERT_TRUE(RunUntil([&] { return Seen() == kRed; }));
    area.colour = kGreen;
    xcb_shm_detach(X11Connection(), 12345);  // which it does not have
    xcb_flush(X11Connection());
    EXPECT_TRUE(RunUntil([&] { return Seen() == kGreen; }));
    EXPECT_FALSE(Show(Filled(kRed)));
}

TEST_F(X11Pictures, WhereNothingCanBeSharedAllIsPainted) {
    rlimit files{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &files), 0);
    rlimit none = files;
    none.rlim_cur = 0;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const QImage image = screen->ImageMaker()(10, 10);
    ::setrlimit(RLIMIT_NOFILE, &files);
    EXPECT_TRUE(image.isNull());
    qputenv("QT_XCB_NO_MITSHM", "1");
    EXPECT_EQ(OpenX11Screen(), nullptr);
    qunsetenv("QT_XCB_NO_MITSHM");
    EXPECT_NE(OpenX11Screen(), nullptr);
}

TEST_F(X11Pictures, ImagesMayGoAtOnceAndStayLongerThanTheScreen) {
    QImage image = Filled(kRed);
    ASSERT_TRUE(Show(image));
    image = QImage();
    EXPECT_TRUE(RunUntil([&] { return Seen() == kRed; }));
    image = Filled(kGreen);
    ASSERT_TRUE(Show(image));
    EXPECT_TRUE(RunUntil([&] { return Seen() == kGreen; }));
    const auto make = screen->ImageMaker();
    screen.reset();
    image.fill(kBlue);
    EXPECT_EQ(image.pixel(5, 5), kBlue);
    image = make(10, 10);
    image.fill(kRed);
    EXPECT_EQ(image.pixel(9, 9), kRed);
}

}  // namespace
}  // namespace kvmon
