// A ski lift.
#include <algorithm>

#include "media/paint.h"
#include "media/scene.h"

namespace kvrecorder {
namespace {

// The cable from the valley station, lower left, to the mountain's, upper right.
double CableY(double x) {
    return 980 - (x - 200) * 0.19;
}

void Pine(Painter& p, double x, double y, double size) {
    p.Color(0x244A3A);
    for (int i = 0; i < 3; ++i) {
        const double top = y - size * (1 - 0.24 * i);
        const double half = size * (0.17 + 0.09 * i);
        p.Poly({{x, top}, {x + half, top + size * 0.42}, {x - half, top + size * 0.42}});
    }
    p.Color(0xF4F9FF);
    p.Poly({{x, y - size}, {x + size * 0.10, y - size * 0.76}, {x - size * 0.13, y - size * 0.76}});
}

void Peak(Painter& p, double x, double base, double height, double half, int rock, int snow) {
    p.Color(rock);
    p.Poly({{x - half, base}, {x, base - height}, {x + half, base}});
    p.Color(snow);
    p.Poly({{x, base - height},
            {x + half * 0.42, base - height * 0.58},
            {x + half * 0.2, base - height * 0.64},
            {x + half * 0.06, base - height * 0.5},
            {x - half * 0.12, base - height * 0.66},
            {x - half * 0.36, base - height * 0.64}});
}

void Skier(Painter& p, double seconds, double period, double offset, int coat) {
    const double down = Wrap(seconds / period + offset, 1);
    const double turn = std::sin(down * 30);
    const double x = 2500 - 1500 * down + 110 * turn;
    const double y = 860 + 520 * down;
    const double size = 0.7 + 0.8 * down;
    p.Color(0xB9D3E8);
    for (int i = 1; i < 9; ++i) {
        const double before = down - i * 0.006;
        p.AddCircle(2500 - 1500 * before + 110 * std::sin(before * 30), 866 + 520 * before, 6 * size);
    }
    p.Fill();
    p.Push(x, y, turn > 0 ? -size : size, size, 0.15 * std::cos(down * 30));
    p.Color(0x20252B);
    p.Line(-46, 12, 46, 2, 7);
    p.Line(-34, 22, 56, 10, 7);
    p.Color(0x27304A);
    p.Poly({{-14, 8}, {10, 6}, {14, -36}, {-8, -36}});
    p.Color(coat);
    p.Poly({{-10, -32}, {16, -34}, {6, -82}, {-16, -76}});
    p.Line(-4, -68, 32, -44, 10);
    p.Color(0x20252B);
    p.Line(32, -44, 2, 16, 3);
    p.Color(0xE5B58E);
    p.Circle(-4, -92, 15);
    p.Color(coat);
    p.Rect(-19, -108, 30, 12);
    p.Pop();
}

}  // namespace

void SkiLiftStill(Painter& p) {
    p.Gradient(0, 150, 0, 1000, {{0, 0x1F5FAE}, {1, 0xCDE6F8}});
    p.Rect(0, 0, kWorldWidth, kWorldHeight);
    for (int i = 0; i < 8; ++i) {
        Peak(p, i * 450 + 100, 1000, 430 + 160 * Noise(i + 5), 420, 0x7C93AD, 0xEAF3FB);
    }
    Peak(p, 2560, 1060, 760, 760, 0x56697F, 0xFFFFFF);
    Peak(p, 1250, 1060, 620, 640, 0x5F748B, 0xFFFFFF);
    // The slope.
    p.Gradient(0, 700, 0, kWorldHeight, {{0, 0xFFFFFF}, {1, 0xC9DDEE}});
    cairo_move_to(p.Cairo(), 0, 1180);
    cairo_curve_to(p.Cairo(), 900, 1120, 1500, 1000, 2200, 860);
    cairo_curve_to(p.Cairo(), 2600, 780, 2900, 760, 3200, 740);
    cairo_line_to(p.Cairo(), kWorldWidth, kWorldHeight);
    cairo_line_to(p.Cairo(), 0, kWorldHeight);
    p.Fill();
    for (int i = 0; i < 26; ++i) {
        const double x = Noise(i + 60) * 1500 + (i % 2 ? 0 : 1700);
        const double y = 1120 - x * 0.11 + 60 * Noise(i + 80) + (i % 2 ? 60 : 40);
        Pine(p, x, y, 110 + 70 * Noise(i + 90));
    }
    for (int i = 0; i < 9; ++i) {
        Pine(p, 330 + i * 330 + 60 * Noise(i), 1470 + 40 * Noise(i + 9), 250);
    }
    // A hut with smoke-stained chimney.
    p.Color(0x6B4526);
    p.Rect(1010, 1080, 220, 120);
    p.Color(0xF4F9FF);
    p.Poly({{980, 1090}, {1120, 1000}, {1260, 1090}, {1240, 1100}, {1120, 1030}, {1000, 1100}});
    p.Color(0xFFD873);
    p.Rect(1040, 1112, 44, 40);
    p.Rect(1154, 1112, 44, 40);
    p.Color(0x3B2515);
    p.Rect(1100, 1120, 38, 80);
    p.Rect(1180, 1010, 26, 50);
    // Pylons and the cable.
    p.Color(0x3D4752);
    for (const double x : {500.0, 1180.0, 1860.0, 2540.0, 3100.0}) {
        const double y = CableY(x);
        p.Poly({{x - 12, y}, {x + 12, y}, {x + 26, y + 480}, {x - 26, y + 480}});
        p.Rect(x - 62, y - 10, 124, 16);
    }
    p.Line(0, CableY(0), kWorldWidth, CableY(kWorldWidth), 6);
}

void SkiLiftMoving(Painter& p, double seconds) {
    constexpr int kCabins[] = {0xD8352B, 0xF2B90C, 0x2D7DD2, 0x45A049};
    const double travelled = seconds * 90;
    const int first = static_cast<int>(std::floor(travelled / 520));
    for (int i = 0; i < 8; ++i) {
        const double x = Wrap(travelled, 520) + i * 520 - 420;
        const double y = CableY(x);
        if (!p.Sees(x - 90, y - 20, 180, 300)) {
            continue;
        }
        p.Push(x, y, 1, 1, 0.05 * std::sin(seconds * 1.4 + i - first));
        p.Color(0x2B333C);
        p.Rect(-22, -8, 44, 16);
        p.Rect(-5, 0, 10, 82);
        p.Color(kCabins[(i - first) & 3]);
        p.RoundRect(-76, 76, 152, 140, 34);
        p.Color(0xBFE0F2);
        p.RoundRect(-62, 96, 58, 62, 10);
        p.RoundRect(6, 96, 56, 62, 10);
        p.Color(0x27303A);
        p.Circle(-34, 138, 13);
        p.Rect(-47, 146, 26, 12);
        p.Pop();
    }
    Skier(p, seconds, 16, 0, 0xE4572E);
    Skier(p, seconds, 21, 0.45, 0x7B4BB3);
    Skier(p, seconds, 18, 0.7, 0x1B9AAA);
    p.Color(0xFFFFFF);
    for (int i = 0; i < 60; ++i) {
        const double fall = Wrap(seconds * (0.07 + 0.05 * Noise(i)) + Noise(i + 10), 1);
        p.AddCircle(Wrap(Noise(i + 20) * 3200 + 60 * std::sin(seconds + i), 3200), fall * 1600,
                    4 + 4 * Noise(i));
    }
    p.Fill();
}

}  // namespace kvrecorder
