// An airfield and a wind farm.
#include <algorithm>

#include "media/paint.h"
#include "media/scene.h"

namespace kvrecorder {
namespace {

void Cloud(Painter& p, double x, double y, double size) {
    if (!p.Sees(x - 130 * size, y - 80 * size, 260 * size, 130 * size)) {
        return;
    }
    p.AddEllipse(x, y, 120 * size, 32 * size);
    p.AddCircle(x - 40 * size, y - 22 * size, 42 * size);
    p.AddCircle(x + 22 * size, y - 34 * size, 54 * size);
    p.AddCircle(x + 70 * size, y - 8 * size, 34 * size);
    p.Fill();
}

void Airliner(Painter& p, double x, double y, double angle, double size, double seconds) {
    if (!p.Sees(x - 420 * size, y - 260 * size, 840 * size, 520 * size)) {
        return;
    }
    p.Push(x, y, size, size, angle);
    p.Color(0x9FB0C0);
    p.Poly({{30, -14}, {-60, -120}, {-100, -120}, {-60, -14}});
    p.Color(0xF6F8FA);
    p.RoundRect(-300, -44, 560, 84, 40);
    p.Poly({{190, -44}, {250, -34}, {300, 4}, {270, 36}, {190, 40}});
    p.Color(0xD8352B);
    p.Poly({{-300, -20}, {-340, -150}, {-270, -150}, {-200, -40}});
    p.Rect(-290, 14, 540, 14);
    p.Color(0xC4D0DA);
    p.Poly({{60, 14}, {-120, 150}, {-170, 150}, {-60, 14}});
    p.Poly({{-230, -10}, {-330, 44}, {-360, 44}, {-300, -10}});
    p.Color(0x5B6B7B);
    p.RoundRect(-50, 56, 90, 40, 18);
    p.Color(0x24405C);
    for (int i = 0; i < 15; ++i) {
        p.AddRect(-220 + i * 26, -22, 12, 16);
    }
    p.Fill();
    p.Poly({{232, -28}, {262, -16}, {240, -8}, {220, -10}});
    if (Wrap(seconds, 1.2) < 0.15) {
        p.Color(0xFFFFFF);
        p.Circle(-145, 150, 16);
        p.Circle(-305, -150, 14);
    }
    p.Pop();
}

void Balloon(Painter& p, double x, double y, int rgb) {
    p.Push(x, y);
    p.Color(rgb);
    p.Circle(0, 0, 92);
    p.Poly({{-84, 38}, {84, 38}, {24, 134}, {-24, 134}});
    p.Color(0xFFF3DA);
    p.Ellipse(0, 6, 34, 92);
    p.Color(rgb);
    p.Ellipse(0, 6, 13, 92);
    p.Color(0x6B4A2E);
    p.Line(-22, 132, -18, 176, 3);
    p.Line(22, 132, 18, 176, 3);
    p.RoundRect(-24, 174, 48, 36, 6);
    p.Pop();
}

}  // namespace

void AirfieldStill(Painter& p) {
    p.Gradient(0, 150, 0, 1050, {{0, 0x2F7FD0}, {0.6, 0x86C1EE}, {1, 0xE4F3FB}});
    p.Rect(0, 0, kWorldWidth, 1060);
    p.Color(0xFFFFFF, 0.55);
    for (int i = 0; i < 6; ++i) {
        Cloud(p, i * 560 + 150, 800 + 60 * Noise(i), 1 + 0.6 * Noise(i + 3));
    }
    p.Glow(2180, 430, 260, 0xFFFBE0, 0.95);
    p.Color(0x8DA7B5);
    for (int i = 0; i < 10; ++i) {
        p.Poly({{i * 360 - 260, 1060}, {i * 360, 920 - 70 * Noise(i + 4)}, {i * 360 + 280, 1060}});
    }
    p.Color(0x7FB356);
    p.Rect(0, 1050, kWorldWidth, 550);
    // Hangars, then the tower.
    for (int i = 0; i < 5; ++i) {
        const double x = 60 + i * 300 + (i > 2 ? 900 : 0);
        p.Color(0xB8C2CA);
        p.Ellipse(x + 120, 1010, 120, 76);
        p.Rect(x, 1005, 240, 70);
        p.Color(0x6C7780);
        p.Rect(x + 36, 1000, 168, 75);
    }
    p.Color(0xE3E7EA);
    p.Poly({{1080, 1075}, {1160, 1075}, {1146, 800}, {1094, 800}});
    p.Color(0x2B4A66);
    p.Poly({{1060, 800}, {1180, 800}, {1196, 730}, {1044, 730}});
    p.Color(0xD8352B);
    p.Rect(1040, 712, 160, 20);
    p.Rect(1114, 640, 10, 74);
    // The runway.
    p.Color(0x585D63);
    p.Poly({{0, 1180}, {kWorldWidth, 1180}, {kWorldWidth, 1320}, {0, 1320}});
    p.Color(0xF2F2EC);
    p.AddRect(0, 1186, kWorldWidth, 7);
    p.AddRect(0, 1306, kWorldWidth, 8);
    for (int i = 0; i < 20; ++i) {
        p.AddRect(i * 170, 1244, 95, 11);
    }
    p.Fill();
    p.Color(0xF2B90C);
    for (int i = 0; i < 27; ++i) {
        p.AddCircle(i * 120 + 40, 1345, 9);
        p.AddCircle(i * 120 + 40, 1160, 7);
    }
    p.Fill();
}

void AirfieldMoving(Painter& p, double seconds) {
    p.Color(0xFFFFFF, 0.92);
    for (int i = 0; i < 4; ++i) {
        Cloud(p, Wrap(seconds * (22 + 5 * i) + i * 950, 3800) - 300, 440 + 95 * i, 1.5 + 0.3 * Noise(i));
    }
    Balloon(p, Wrap(seconds * 12 + 1050, 3500) - 150, 600 + 14 * std::sin(seconds * 0.4), 0xE4572E);
    Balloon(p, Wrap(seconds * 9 + 2500, 3500) - 150, 520 + 14 * std::sin(seconds * 0.3 + 2), 0x7B4BB3);
    // Planes land from the left, every 1900 units of their way; they touch down in the middle.
    for (int i = 0; i < 2; ++i) {
        const double x = Wrap(seconds * 260 + i * 1950 + 500, 3900) - 400;
        const double height = std::max(0.0, (1750 - x) / 1900);
        const double y = 1180 - 560 * height * (0.4 + 0.6 * height);
        p.Color(0x000000, 0.25);
        p.Ellipse(x, 1275, 250, 16);
        Airliner(p, x, y, height > 0 ? 0.10 * std::min(1.0, height * 3) : 0, 0.95, seconds + i * 0.5);
        p.Color(0x22262B);
        p.Circle(x + 190, y + 66 + 30 * height, 17);
        p.Circle(x - 60, y + 66 + 16 * height, 19);
    }
    // The wind sock and the radar.
    const double flap = 10 * std::sin(seconds * 5);
    p.Color(0xE0E0E0);
    p.Rect(1396, 960, 9, 115);
    p.Color(0xFF6A1A);
    p.Poly({{1404, 960}, {1404, 1000}, {1530, 992 + flap}, {1530, 978 + flap}});
    p.Color(0x39434D);
    const double wide = 62 * std::cos(seconds * 2);
    p.Poly({{1119 - wide, 618}, {1119 + wide, 618}, {1119 + wide, 648}, {1119 - wide, 648}});
}

namespace {

struct Turbine {
    double x, y, height, speed;
};
const Turbine kTurbines[] = {
    {300, 900, 340, 1.5},  {760, 960, 450, 1.3},  {1130, 860, 310, 1.7}, {1480, 1000, 520, 1.1},
    {1900, 880, 340, 1.6}, {2230, 980, 470, 1.2}, {2620, 900, 380, 1.4}, {3000, 960, 450, 1.3},
};

void Sheep(Painter& p, double x, double y, double seconds, int i) {
    const bool grazing = Wrap(seconds / 5 + i * 0.37, 1) < 0.6;
    p.Push(x, y, i % 2 ? 1.2 : -1.2, 1.2);
    p.Color(0x2C2A2A);
    p.Rect(-22, 0, 7, 30);
    p.Rect(16, 0, 7, 30);
    p.Ellipse(40, grazing ? 12 : -16, 14, 11);
    p.Color(0xF7F4EC);
    p.AddCircle(-16, -6, 21);
    p.AddCircle(14, -6, 21);
    p.AddCircle(0, -15, 22);
    p.Fill();
    p.Pop();
}

}  // namespace

void WindFarmStill(Painter& p) {
    p.Gradient(0, 150, 0, 900, {{0, 0x8FD0F0}, {1, 0xF3FBEF}});
    p.Rect(0, 0, kWorldWidth, 1000);
    p.Color(0xBCD9A6);
    for (int i = 0; i < 9; ++i) {
        p.AddEllipse(i * 420, 960, 420, 130 + 80 * Noise(i + 2));
    }
    p.Fill();
    p.Color(0x93C364);
    for (int i = 0; i < 8; ++i) {
        p.AddEllipse(i * 520 + 160, 1120, 520, 190 + 60 * Noise(i + 12));
    }
    p.AddRect(0, 1090, kWorldWidth, 510);
    p.Fill();
    p.Gradient(0, 1100, 0, kWorldHeight, {{0, 0x76AE45}, {1, 0x4A8A2F}});
    for (int i = 0; i < 6; ++i) {
        p.AddEllipse(i * 700 + 300, 1400, 760, 240 + 60 * Noise(i + 22));
    }
    p.AddRect(0, 1380, kWorldWidth, 220);
    p.Fill();
    // Rows of rape in bloom.
    p.Color(0xEFD832);
    for (int i = 0; i < 5; ++i) {
        p.Poly(
            {{2000 + i * 75, 1060}, {2046 + i * 75, 1060}, {2120 + i * 130, 1220}, {2040 + i * 130, 1220}});
    }
    for (const Turbine& t : kTurbines) {
        p.Color(0xF4F6F7);
        const double foot = t.height * 0.032;
        p.Poly({{t.x - foot, t.y + 200},
                {t.x + foot, t.y + 200},
                {t.x + foot * 0.5, t.y - t.height},
                {t.x - foot * 0.5, t.y - t.height}});
        p.Color(0xC7CED2);
        p.Poly({{t.x + foot * 0.3, t.y + 200},
                {t.x + foot, t.y + 200},
                {t.x + foot * 0.5, t.y - t.height},
                {t.x + foot * 0.2, t.y - t.height}});
    }
    // A winding path and a fence.
    p.Color(0xD9C79A);
    p.Curve(900, 1600, 1300, 1300, 1120, 1170, 34);
    p.Color(0x7A5C3C);
    for (int i = 0; i < 30; ++i) {
        p.AddRect(i * 110, 1232, 12, 66);
    }
    p.AddRect(0, 1246, kWorldWidth, 7);
    p.AddRect(0, 1270, kWorldWidth, 7);
    p.Fill();
}

void WindFarmMoving(Painter& p, double seconds) {
    p.Color(0xFFFFFF, 0.9);
    for (int i = 0; i < 3; ++i) {
        Cloud(p, Wrap(seconds * (26 + 6 * i) + i * 1300 + 500, 3800) - 300, 400 + 60 * i, 1.2 + 0.3 * i);
    }
    for (const Turbine& t : kTurbines) {
        const double blade = t.height * 0.52;
        const double top = t.y - t.height;
        if (!p.Sees(t.x - blade, top - blade, 2 * blade, 2 * blade)) {
            continue;
        }
        p.Color(0xFBFCFC);
        for (int i = 0; i < 3; ++i) {
            p.Push(t.x, top, blade, blade, seconds * t.speed + t.x + i * 2 * kPi / 3);
            p.Poly({{0, -0.035}, {0.25, -0.06}, {1, -0.008}, {1, 0.008}, {0, 0.03}});
            p.Pop();
        }
        p.Color(0xAEB7BC);
        p.Circle(t.x, top, blade * 0.07);
        p.Color(Wrap(seconds, 2) < 0.4 ? 0xFF3B30 : 0xB0403A);
        p.Circle(t.x, top - blade * 0.10, blade * 0.028);
    }
    for (int i = 0; i < 7; ++i) {
        const double x = 940 + i * 215 + 40 * std::sin(seconds * 0.15 + i * 2);
        Sheep(p, x, 1125 + 60 * Noise(i + 40), seconds, i);
    }
    // A red van on the road along the fence.
    const double van = 3450 - Wrap(seconds * 130 + 1200, 3700);
    p.Push(van, 1290);
    p.Color(0xC8352B);
    p.RoundRect(0, -104, 210, 88, 16);
    p.Color(0xCFE8F5);
    p.Poly({{14, -92}, {58, -92}, {58, -58}, {4, -58}});
    p.Color(0xFFFFFF);
    p.Rect(80, -66, 116, 14);
    p.Color(0x1A1B1E);
    p.Circle(48, -14, 23);
    p.Circle(164, -14, 23);
    p.Pop();
}

}  // namespace kvrecorder
