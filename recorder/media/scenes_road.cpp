// A highway and a car park at night.
#include "media/paint.h"
#include "media/scene.h"
#include "media/street_parts.h"

namespace kvrecorder {
namespace {

constexpr double kFarY = 560;  // where the highway vanishes

double NearX(double lane, double depth) {
    return 1600 + lane * 210 / depth;
}
double NearY(double depth) {
    return kFarY + 840 / depth;
}

// `depth` 1 stands at the lower edge.
void RoadCar(Painter& p, double lane, double depth, int rgb, bool coming, bool truck) {
    const double scale = 1 / depth;
    const double x = NearX(lane, depth);
    const double y = NearY(depth);
    if (!p.Sees(x - 120 * scale, y - 220 * scale, 240 * scale, 260 * scale)) {
        return;
    }
    p.Push(x, y, scale, scale);
    p.Color(0x000000, 0.35);
    p.Ellipse(0, 0, 92, 16);
    p.Color(0x17171A);
    p.Rect(-70, -26, 30, 28);
    p.Rect(40, -26, 30, 28);
    if (truck) {
        p.Color(0xF2F2EE);
        p.Rect(-78, -250, 156, 232);
        p.Color(rgb);
        p.Rect(-78, -110, 156, 50);
    } else {
        p.Color(rgb);
        p.Poly({{-58, -80}, {58, -80}, {44, -128}, {-44, -128}});
        p.RoundRect(-78, -86, 156, 70, 18);
        p.Color(coming ? 0x9FC4DC : 0x37424F);
        p.Poly({{-48, -82}, {48, -82}, {38, -120}, {-38, -120}});
    }
    p.Color(coming ? 0xFFFBE0 : 0xFF2A1E);
    p.AddRect(-72, -66, 30, 18);
    p.AddRect(42, -66, 30, 18);
    p.Fill();
    p.Pop();
}

}  // namespace

void HighwayStill(Painter& p) {
    p.Gradient(0, 150, 0, kFarY, {{0, 0x5FA8E0}, {1, 0xDCEFF8}});
    p.Rect(0, 0, kWorldWidth, kFarY);
    p.Color(0xFFFFFF, 0.85);
    for (int i = 0; i < 16; ++i) {
        const int cloud = i / 4;
        const double x = cloud * 900 + 200 + (i % 4) * 80;
        p.AddEllipse(x, 330 + 40 * Noise(cloud) - (i % 4 == 1 ? 26 : 0), 90, 34 + 14 * Noise(i));
    }
    p.Fill();
    p.Color(0x8FB3A6);
    for (int i = 0; i < 12; ++i) {
        p.AddEllipse(i * 310, kFarY + 10, 300, 60 + 90 * Noise(i + 3));
    }
    p.Fill();
    p.Gradient(0, kFarY, 0, kWorldHeight, {{0, 0x9CBF6A}, {1, 0x4E8B3A}});
    p.Rect(0, kFarY, kWorldWidth, kWorldHeight - kFarY);
    const double bottom = NearY(0.8);
    p.Gradient(0, kFarY, 0, bottom, {{0, 0x8B8E94}, {1, 0x55585E}});
    p.Poly({{1594, kFarY}, {1606, kFarY}, {NearX(4.1, 0.8), bottom}, {NearX(-4.1, 0.8), bottom}});
    // The strip between the two directions, with its rail.
    p.Color(0x5F9145);
    p.Poly({{1599, kFarY}, {1601, kFarY}, {NearX(0.42, 0.8), bottom}, {NearX(-0.42, 0.8), bottom}});
    p.Color(0xD5D8DA);
    p.Poly({{1600, kFarY - 1},
            {1600, kFarY + 1},
            {NearX(0.08, 0.8), bottom - 60},
            {NearX(-0.08, 0.8), bottom - 110}});
    p.Color(0xF4F4F0);
    for (const double edge : {-3.9, -0.55, 0.55, 3.9}) {
        p.Poly({{1600, kFarY}, {NearX(edge - 0.04, 0.8), bottom}, {NearX(edge + 0.04, 0.8), bottom}});
    }
    for (const double line : {-2.75, -1.65, 1.65, 2.75}) {
        for (double depth = 0.8; depth < 16; depth *= 1.28) {
            const double end = depth * 1.12;
            p.Poly({{NearX(line - 0.03, depth), NearY(depth)},
                    {NearX(line + 0.03, depth), NearY(depth)},
                    {NearX(line + 0.03, end), NearY(end)},
                    {NearX(line - 0.03, end), NearY(end)}});
        }
    }
    for (double depth = 9; depth > 0.9; depth *= 0.72) {
        Tree(p, NearX(-5.6, depth), NearY(depth), 420 / depth, 0x3B7A36);
        Tree(p, NearX(5.4, depth), NearY(depth), 360 / depth, 0x4C8F3C);
    }
    // A gantry with signs.
    const double y = NearY(3.4);
    p.Color(0x70767E);
    p.Rect(NearX(-4.4, 3.4), y - 330, 14, 330);
    p.Rect(NearX(4.4, 3.4) - 14, y - 330, 14, 330);
    p.Rect(NearX(-4.4, 3.4), y - 330, NearX(4.4, 3.4) - NearX(-4.4, 3.4), 12);
    for (const double sign : {-2.2, 2.2}) {
        p.Color(0x1E56A0);
        p.RoundRect(NearX(sign, 3.4) - 95, y - 385, 190, 90, 8);
        p.Color(0xFFFFFF);
        p.Rect(NearX(sign, 3.4) - 72, y - 362, 110, 12);
        p.Rect(NearX(sign, 3.4) - 72, y - 336, 80, 12);
        p.Poly({{NearX(sign, 3.4) + 52, y - 320},
                {NearX(sign, 3.4) + 82, y - 320},
                {NearX(sign, 3.4) + 67, y - 362}});
    }
}

void HighwayMoving(Painter& p, double seconds) {
    constexpr int kCars = 6;
    // Far ones first. A car's depth falls (or rises) evenly, as at a steady speed.
    for (int rank = 0; rank < kCars; ++rank) {
        for (int lane = 0; lane < 6; ++lane) {
            const bool coming = lane < 3;
            const double across = (lane < 3 ? -3.35 : 1.15) + 1.1 * (lane % 3);
            const double speed = (coming ? -1 : 1) * (0.9 + 0.25 * (coming ? lane : 5 - lane));
            const double gap = 2.3;
            const double travelled = seconds * speed + lane * 1.7;
            const double shift = Wrap(travelled, gap);
            const int first = static_cast<int>(std::floor(travelled / gap));
            const int car = kCars - 1 - rank;
            const double depth = 0.72 + shift + car * gap;
            const int who = ((first - car) * 6 + lane) & 1023;
            if (Noise(who + 11) < 0.25) {
                continue;
            }
            RoadCar(p, across, depth, kPaints[who % 7], coming, Noise(who + 77) > 0.84);
        }
    }
}

namespace {

enum class Lights { Off, On };

void CarFromAbove(Painter& p, double x, double y, double angle, int rgb, Lights state) {
    const bool lights = state == Lights::On;
    p.Push(x, y, 1, 1, angle);
    if (lights) {
        p.Color(0xFFF4C0, 0.25);
        p.Poly({{-40, -100}, {40, -100}, {110, -330}, {-110, -330}});
    }
    p.Color(0x000000, 0.35);
    p.RoundRect(-50, -98, 112, 212, 26);
    p.Color(rgb);
    p.RoundRect(-54, -104, 108, 208, 26);
    p.Color(0x1E2933);
    p.RoundRect(-43, -46, 86, 36, 8);
    p.RoundRect(-40, 50, 80, 26, 8);
    p.Color(0xFFFFFF, 0.18);
    p.RoundRect(-38, -8, 76, 56, 8);
    p.Color(lights ? 0xFFFFE0 : 0xA8A890);
    p.Rect(-46, -104, 24, 10);
    p.Rect(22, -104, 24, 10);
    p.Color(lights ? 0xFF3020 : 0x702018);
    p.Rect(-46, 94, 24, 8);
    p.Rect(22, 94, 24, 8);
    p.Pop();
}

void Walker(Painter& p, double x, double y, double angle, double seconds, int coat) {
    const double step = std::sin(seconds * 7);
    p.Push(x, y, 1, 1, angle);
    p.Color(0x000000, 0.3);
    p.Ellipse(12, 14, 40, 30);
    p.Color(0x23314D);
    p.RoundRect(-22, -20 - 26 * step, 18, 44, 8);
    p.RoundRect(4, -20 + 26 * step, 18, 44, 8);
    p.Color(coat);
    p.Ellipse(0, 0, 42, 22);
    p.Ellipse(-36, 20 * step, 11, 20);
    p.Ellipse(36, -20 * step, 11, 20);
    p.Color(0x3B2417);
    p.Circle(0, -2, 17);
    p.Pop();
}

}  // namespace

void ParkingStill(Painter& p) {
    p.Color(0x3A3E46);
    p.Rect(0, 0, kWorldWidth, kWorldHeight);
    p.Color(0x444953);
    for (int i = 0; i < 300; ++i) {
        p.AddCircle(Noise(i) * kWorldWidth, Noise(i + 400) * kWorldHeight, 3 + 3 * Noise(i + 800));
    }
    p.Fill();
    // Green strips above and below, with bushes.
    p.Color(0x2F5233);
    p.Rect(0, 0, kWorldWidth, 210);
    p.Rect(0, 1390, kWorldWidth, 210);
    p.Color(0x8E949C);
    p.Rect(0, 210, kWorldWidth, 14);
    p.Rect(0, 1376, kWorldWidth, 14);
    for (int i = 0; i < 34; ++i) {
        p.Color(i % 2 ? 0x3F6E3C : 0x355F39);
        p.Circle(i * 100 + 30, 120 + 30 * Noise(i), 60);
        p.Circle(i * 100 + 60, 1470 + 40 * Noise(i + 9), 60);
    }
    // Bays along both sides of the lane.
    p.Color(0xE8E8DC);
    for (int i = 0; i <= 20; ++i) {
        p.AddRect(i * 160 - 3, 240, 7, 260);
        p.AddRect(i * 160 - 3, 1100, 7, 260);
    }
    for (int i = 0; i < 11; ++i) {
        p.AddRect(i * 320 + 60, 796, 150, 8);
    }
    p.Fill();
    p.Color(0xE8E8DC, 0.8);
    for (int i = 0; i < 6; ++i) {
        p.AddRect(1995, 540 + i * 90, 130, 48);
    }
    p.Fill();
    for (int i = 0; i < 20; ++i) {
        if (i != 12 && i != 8 && Noise(i + 31) > 0.22) {
            CarFromAbove(p, i * 160 + 80, 372, Noise(i) > 0.5 ? 0 : kPi, kPaints[i % 7], Lights::Off);
        }
        if (i != 12 && Noise(i + 61) > 0.22) {
            CarFromAbove(p, i * 160 + 80, 1232, Noise(i + 3) > 0.5 ? 0 : kPi, kPaints[(i + 3) % 7],
                         Lights::Off);
        }
    }
    // A wheelchair bay and a charging place keep free.
    p.Color(0x2D63B8);
    p.RoundRect(8 * 160 + 30, 320, 100, 100, 12);
    p.Color(0xFFFFFF);
    p.Circle(8 * 160 + 76, 342, 11);
    p.Line(8 * 160 + 76, 352, 8 * 160 + 80, 384, 9);
    p.Line(8 * 160 + 80, 384, 8 * 160 + 106, 384, 9);
    p.Line(8 * 160 + 106, 384, 8 * 160 + 112, 406, 9);
    cairo_arc(p.Cairo(), 8 * 160 + 78, 386, 22, 0.3, 4.2);
    cairo_stroke(p.Cairo());
    // Pools of lamp light over the dark.
    p.Color(0x060A18, 0.34);
    p.Rect(0, 0, kWorldWidth, kWorldHeight);
    for (int i = 0; i < 4; ++i) {
        p.Glow(400 + i * 800, 560, 560, 0xFFD890, 0.24);
        p.Glow(800 + i * 800, 1040, 560, 0xFFD890, 0.24);
    }
    for (int i = 0; i < 4; ++i) {
        p.Color(0xFFF6D8);
        p.Circle(400 + i * 800, 540, 17);
        p.Circle(800 + i * 800, 1060, 17);
    }
}

void ParkingMoving(Painter& p, double seconds) {
    const double right = Wrap(seconds * 240 + 300, 3900) - 350;
    const double left = 3550 - Wrap(seconds * 200 + 1500, 3900);
    CarFromAbove(p, right, 900, kPi / 2, 0xC8352B, Lights::On);
    CarFromAbove(p, left, 700, -kPi / 2, 0xE9E9EC, Lights::On);
    // Two walkers: one to and fro on the crossing, one along the bays.
    const double phase = Wrap(seconds / 14, 2);
    const bool down = phase < 1;
    Walker(p, 2060, down ? 540 + phase * 520 : 1060 - (phase - 1) * 520, down ? kPi : 0, seconds, 0xD9A520);
    const double stroll = Wrap(seconds * 75 + 900, 3400) - 100;
    Walker(p, stroll, 1045, kPi / 2, seconds + 1, 0x4FA3C7);
}

}  // namespace kvrecorder
