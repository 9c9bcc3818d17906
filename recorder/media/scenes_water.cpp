// A harbour at dusk and an aquarium.
#include <algorithm>

#include "media/paint.h"
#include "media/scene.h"

namespace kvrecorder {
namespace {

constexpr double kSea = 820;  // the harbour's horizon

void Crane(Painter& p, double x) {
    p.Color(0x1B1226);
    p.Rect(x, 470, 22, 350);
    p.Rect(x + 130, 470, 22, 350);
    p.Rect(x - 20, 520, 190, 20);
    p.Rect(x - 250, 445, 480, 26);
    p.Poly({{x + 60, 300}, {x + 82, 300}, {x + 100, 450}, {x + 40, 450}});
    p.Line(x + 70, 305, x - 240, 448, 7);
    p.Line(x + 70, 305, x + 225, 448, 7);
    p.Line(x - 190, 470, x - 190, 600, 5);
    p.Line(x, 560, x + 152, 700, 8);
    p.Line(x + 152, 560, x, 700, 8);
    p.Rect(x - 215, 600, 50, 22);
}

void Ship(Painter& p, double x, int hull, int first) {
    if (!p.Sees(x - 60, 640, 800, 400)) {
        return;
    }
    p.Push(x, 980);
    // Its mirror image on the water.
    p.Color(0x120A1C, 0.35);
    p.Poly({{20, 62}, {640, 62}, {560, 120}, {70, 120}});
    p.Color(hull);
    p.Poly({{-10, 0}, {690, -30}, {640, 66}, {30, 66}});
    p.Color(0x8E2B2B);
    p.Poly({{22, 48}, {650, 48}, {640, 66}, {30, 66}});
    constexpr int kBoxes[] = {0xC4532F, 0x2F6E8E, 0xD9A441, 0x5E8C4A, 0x8A4F7D};
    for (int i = 0; i < 14; ++i) {
        p.Color(kBoxes[(i * 3 + first) % 5]);
        p.Rect(170 + (i % 7) * 66, i < 7 ? -56 : -98, 62, 40);
    }
    p.Color(0xEADFD2);
    p.Rect(30, -170, 110, 170);
    p.Rect(20, -190, 130, 24);
    p.Color(0xD9622B);
    p.Rect(60, -250, 40, 60);
    p.Color(0xFFE9A0);
    for (int i = 0; i < 12; ++i) {
        const int row = i / 4;
        p.AddRect(40 + (i % 4) * 25, -150 + row * 44, 15, 18);
    }
    p.Fill();
    p.Pop();
}

void Buoy(Painter& p, double x, double y, double seconds) {
    p.Push(x, y + 6 * std::sin(seconds * 1.7 + x), 1, 1, 0.12 * std::sin(seconds * 1.3 + x));
    p.Color(0xC23A2E);
    p.Poly({{-26, 20}, {26, 20}, {12, -50}, {-12, -50}});
    p.Color(0xF4EDE4);
    p.Rect(-19, -22, 38, 16);
    if (Wrap(seconds + x / 900, 2) < 0.5) {
        p.Color(0xFF5040);
        p.Circle(0, -62, 12);
        p.Glow(0, -62, 46, 0xFF5040, 0.7);
    }
    p.Pop();
}

}  // namespace

void HarbourStill(Painter& p) {
    p.Gradient(0, 0, 0, kSea, {{0, 0x1B1F4B}, {0.45, 0x6B3F7A}, {0.75, 0xE0705A}, {1, 0xFFC46B}});
    p.Rect(0, 0, kWorldWidth, kSea);
    p.Color(0xFFFFFF, 0.7);
    for (int i = 0; i < 60; ++i) {
        p.AddCircle(Noise(i) * kWorldWidth, Noise(i + 100) * 420, 1.5 + 1.5 * Noise(i + 200));
    }
    p.Fill();
    p.Glow(1760, kSea - 20, 620, 0xFFE0A0, 0.75);
    p.Color(0xFFF3CF);
    p.Circle(1760, kSea - 20, 95);
    // Streaks of cloud.
    for (int i = 0; i < 9; ++i) {
        p.Color(i % 2 ? 0xF39A7A : 0x8A4F86, 0.45);
        p.Ellipse(Noise(i + 7) * kWorldWidth, 380 + 40 * i, 260 + 200 * Noise(i + 20),
                  9 + 10 * Noise(i + 30));
    }
    p.Color(0x3A2350);
    for (int i = 0; i < 12; ++i) {
        p.AddEllipse(i * 300 - 40, kSea, 260, 60 + 70 * Noise(i + 50));
    }
    p.Fill();

    p.Gradient(0, kSea, 0, kWorldHeight, {{0, 0xE88A5E}, {0.2, 0x8C4A70}, {0.6, 0x33285C}, {1, 0x171B42}});
    p.Rect(0, kSea, kWorldWidth, kWorldHeight - kSea);
    // The sun's path on the water.
    p.Color(0xFFDDA0, 0.55);
    for (int i = 0; i < 26; ++i) {
        const double half = 70 + 5 * i + 50 * Noise(i + 70);
        p.AddRect(1760 - half + 30 * (Noise(i + 90) - 0.5), kSea + 8 + i * 16, 2 * half, 5);
    }
    p.Fill();

    for (const double x : {560.0, 960.0, 2420.0, 2900.0}) {
        Crane(p, x);
    }
    // Quays on both sides, and a town with lit windows on the right one.
    p.Color(0x1B1226);
    p.Rect(0, 796, 1180, 40);
    p.Rect(2180, 796, 1020, 40);
    for (int i = 0; i < 14; ++i) {
        const double height = 80 + 120 * Noise(i + 300);
        p.AddRect(2190 + i * 75, 800 - height, 64, height);
    }
    p.Fill();
    p.Color(0xFFD27A);
    for (int i = 0; i < 90; ++i) {
        const int row = i / 30;
        p.AddRect(2200 + (i % 30) * 34, 700 + row * 28, Noise(i + 400) > 0.4 ? 10 : 0, 12);
    }
    p.Fill();
    // A lighthouse on its rock.
    p.Color(0x231733);
    p.Ellipse(1330, 850, 130, 50);
    p.Color(0xE9DCD0);
    p.Poly({{1300, 830}, {1360, 830}, {1350, 600}, {1310, 600}});
    p.Color(0xB43C33);
    p.Poly({{1303, 780}, {1357, 780}, {1355, 730}, {1305, 730}});
    p.Poly({{1307, 690}, {1353, 690}, {1351, 645}, {1309, 645}});
    p.Rect(1306, 560, 48, 14);
    p.Color(0xFFF6C8);
    p.Rect(1314, 574, 32, 26);
}

void HarbourMoving(Painter& p, double seconds) {
    // The lighthouse's beam swings round: wide when it passes the eye.
    const double turn = seconds * 0.9;
    const double reach = 700 * std::cos(turn);
    p.Color(0xFFF6C8, 0.16 + 0.10 * std::abs(std::sin(turn)));
    p.Poly({{1330, 587}, {1330 + reach, 540}, {1330 + reach, 634}});
    p.Color(0xFFFFE8);
    p.Circle(1330, 587, 12 + 10 * std::max(0.0, std::sin(turn)));
    // Glints that come and go.
    p.Color(0xFFE2B8, 0.5);
    for (int i = 0; i < 40; ++i) {
        const double life = Wrap(seconds * 0.5 + Noise(i), 1);
        const double width = 90 * std::sin(kPi * life);
        p.AddRect(Noise(i + 500) * kWorldWidth - width / 2, 880 + 620 * Noise(i + 600), width, 4);
    }
    p.Fill();
    for (int i = 0; i < 3; ++i) {
        Ship(p, Wrap(seconds * 85 + i * 1400 + 800, 4200) - 750, i == 1 ? 0x27424F : 0x2A2138, i);
    }
    Buoy(p, 1180, 1210, seconds);
    Buoy(p, 2090, 1130, seconds);
    // Gulls.
    p.Color(0x20142E);
    for (int i = 0; i < 4; ++i) {
        const double x = Wrap(seconds * (60 + 10 * i) + i * 700, 3400) - 100;
        const double y = 430 + 50 * i + 20 * std::sin(seconds + i);
        const double wing = 16 * std::sin(seconds * 6 + i * 2);
        p.Curve(x - 34, y - wing, x - 12, y - 14, x, y, 5);
        p.Curve(x, y, x + 12, y - 14, x + 34, y - wing, 5);
    }
}

namespace {

struct Fish {
    double y, speed, size;
    int body, fin;
};
const Fish kFish[] = {
    {470, 130, 1.5, 0xF28C28, 0xFFFFFF},  {620, -95, 1.9, 0xF2D22E, 0x2B4C9B},
    {760, 75, 2.6, 0x3FA7D6, 0x1D5C8A},   {900, -150, 1.3, 0xE84A5F, 0xFFC7CF},
    {1010, 110, 1.7, 0x9B5DE5, 0xF15BB5}, {1120, -60, 2.2, 0x59CD90, 0x2F7D57},
};

void PaintFish(Painter& p, const Fish& fish, double x, double y, double seconds, int phase) {
    const double scale = fish.size;
    if (!p.Sees(x - 120 * scale, y - 80 * scale, 240 * scale, 160 * scale)) {
        return;
    }
    const double tail = 22 * std::sin(seconds * 7 + phase);
    p.Push(x, y, fish.speed > 0 ? scale : -scale, scale);
    p.Color(fish.fin);
    p.Poly({{-48, 0}, {-95, -36 + tail}, {-80, tail / 2}, {-95, 36 + tail}});
    p.Poly({{-20, -30}, {10, -58}, {30, -30}});
    p.Color(fish.body);
    p.Ellipse(0, 0, 66, 38);
    p.Color(fish.fin);
    p.Ellipse(-8, 4, 8, 33);
    p.Color(0xFFFFFF);
    p.Circle(40, -8, 10);
    p.Color(0x101020);
    p.Circle(43, -8, 5);
    p.Pop();
}

}  // namespace

void AquariumStill(Painter& p) {
    p.Gradient(0, 150, 0, 1450, {{0, 0x39C6D6}, {0.5, 0x0F7FA8}, {1, 0x063B63}});
    p.Rect(0, 0, kWorldWidth, kWorldHeight);
    // Light that falls through the surface.
    p.Color(0xFFFFFF, 0.07);
    for (int i = 0; i < 12; ++i) {
        const double x = i * 290 + 60 * Noise(i);
        p.Poly({{x, 0}, {x + 90, 0}, {x - 160, 1400}, {x - 420, 1400}});
    }
    // Far rocks, sand, near rocks.
    p.Color(0x0A4B70);
    for (int i = 0; i < 12; ++i) {
        p.AddEllipse(i * 290, 1290, 230, 120 + 200 * Noise(i + 40));
    }
    p.Fill();
    p.Gradient(0, 1180, 0, 1500, {{0, 0xE8D19B}, {1, 0xA98B52}});
    p.AddRect(0, 1280, kWorldWidth, 400);
    for (int i = 0; i < 9; ++i) {
        p.AddEllipse(i * 400 + 100, 1290, 330, 40 + 30 * Noise(i + 60));
    }
    p.Fill();
    p.Color(0xC9AE74);
    for (int i = 0; i < 120; ++i) {
        p.AddCircle(Noise(i + 700) * kWorldWidth, 1290 + 300 * Noise(i + 900), 3 + 5 * Noise(i));
    }
    p.Fill();
    for (int i = 0; i < 7; ++i) {
        const double x = 260 + i * 470;
        p.Color(0x4C5566);
        p.Ellipse(x, 1310, 130, 90);
        p.Color(0x66718A);
        p.Ellipse(x - 20, 1285, 90, 52);
    }
    // Coral.
    for (int i = 0; i < 6; ++i) {
        const double x = 480 + i * 470;
        p.Color(i % 2 ? 0xFF6F61 : 0xFF9EB5);
        for (int branch = -3; branch <= 3; ++branch) {
            p.Curve(x, 1320, x + branch * 12, 1240, x + branch * 40, 1160 + 22 * std::abs(branch), 22);
            p.Circle(x + branch * 40, 1160 + 22 * std::abs(branch), 16);
        }
    }
    // A sunken chest.
    p.Color(0x6B4423);
    p.RoundRect(1730, 1200, 190, 120, 14);
    p.Color(0x8A5A30);
    p.RoundRect(1720, 1160, 210, 60, 26);
    p.Color(0xE7C14B);
    p.Rect(1812, 1160, 26, 160);
    p.Circle(1825, 1225, 20);
}

void AquariumMoving(Painter& p, double seconds) {
    for (int i = 0; i < 9; ++i) {
        const double x = 120 + i * 365;
        if (!p.Sees(x - 150, 700, 300, 650)) {
            continue;
        }
        p.Color(i % 2 ? 0x2E9E5B : 0x57B84A);
        for (int leaf = 0; leaf < 3; ++leaf) {
            const double sway = 60 * std::sin(seconds * 0.9 + i + leaf * 0.8);
            const double height = 300 + 180 * Noise(i * 3 + leaf);
            p.Curve(x + leaf * 34, 1330, x + leaf * 34 - sway, 1330 - height / 2, x + leaf * 34 + sway,
                    1330 - height, 20);
        }
    }
    p.Color(0xDFF8FF, 0.7);
    for (int i = 0; i < 24; ++i) {
        const double rise = Wrap(seconds * (0.10 + 0.06 * Noise(i)) + Noise(i + 10), 1);
        const double x = (i % 3 == 0 ? 1825 : 400 + 2600 * Noise(i / 6 + 20)) + 30 * std::sin(rise * 20 + i);
        p.AddCircle(x, 1180 - rise * 1100, 6 + 14 * rise);
    }
    p.Fill();
    int phase = 0;
    for (const Fish& fish : kFish) {
        for (int i = 0; i < 3; ++i) {
            const double x = Wrap(seconds * fish.speed + i * 1300 + fish.y * 3, 3900) - 350;
            PaintFish(p, fish, x, fish.y - 90 * i + 25 * std::sin(seconds + phase), seconds, phase);
            ++phase;
        }
    }
}

}  // namespace kvrecorder
