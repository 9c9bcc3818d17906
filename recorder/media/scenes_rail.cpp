// A level crossing.
#include <algorithm>

#include "media/paint.h"
#include "media/scene.h"
#include "media/street_parts.h"

namespace kvrecorder {
namespace {

constexpr double kRail = 1010;  // upper edge of the near rail

void Wagon(Painter& p, double x, int rgb) {
    if (!p.Sees(x, 720, 470, 320)) {
        return;
    }
    p.Push(x, kRail);
    p.Color(0x24262B);
    p.Rect(10, -46, 450, 20);
    p.Rect(-14, -40, 30, 10);
    for (const double wheel : {70.0, 140.0, 330.0, 400.0}) {
        p.Color(0x1A1B1F);
        p.Circle(wheel, -22, 24);
        p.Color(0x6B7078);
        p.Circle(wheel, -22, 9);
    }
    p.Color(rgb);
    p.RoundRect(0, -230, 460, 190, 16);
    p.Color(0xF1ECDD);
    p.Rect(0, -112, 460, 16);
    p.Color(0xCFE8F5);
    for (int i = 0; i < 6; ++i) {
        p.AddRect(28 + i * 70, -205, 54, 66);
    }
    p.Fill();
    p.Pop();
}

void Locomotive(Painter& p, double x) {
    if (!p.Sees(x, 700, 560, 340)) {
        return;
    }
    p.Push(x, kRail);
    p.Color(0x24262B);
    p.Rect(0, -50, 520, 26);
    for (int i = 0; i < 6; ++i) {
        p.Color(0x1A1B1F);
        p.Circle(60 + i * 78, -24, 26);
        p.Color(0x6B7078);
        p.Circle(60 + i * 78, -24, 10);
    }
    p.Color(0xC4262E);
    p.Poly({{0, -50}, {0, -240}, {400, -240}, {470, -150}, {540, -130}, {556, -50}});
    p.Color(0xF4D35E);
    p.Poly({{0, -104}, {548, -104}, {552, -80}, {0, -80}});
    p.Color(0xBFE3F2);
    p.Poly({{392, -222}, {452, -146}, {360, -146}, {360, -222}});
    p.Rect(40, -214, 70, 60);
    p.Color(0xFFFDE0);
    p.Circle(536, -112, 14);
    p.Pop();
    p.Glow(x + 550, kRail - 112, 120, 0xFFFBD0, 0.6);
}

struct GateState {
    double lift;  // 0: down, while a train is near
    bool blink;   // which of the two lamps shines
    bool warn;    // one of them does
};
enum class SignalArm { ToTheRight, ToTheLeft };

void Gate(Painter& p, double x, double y, SignalArm arm, const GateState& state) {
    const auto [lift, blink, warn] = state;
    p.Push(x, y, arm == SignalArm::ToTheLeft ? -1 : 1, 1);
    p.Color(0x3C4048);
    p.Rect(-14, -300, 20, 330);
    p.Color(0x202328);
    p.RoundRect(-60, -300, 112, 54, 12);
    p.Color(warn && blink ? 0xFF2418 : 0x501512);
    p.Circle(-32, -273, 19);
    p.Color(warn && !blink ? 0xFF2418 : 0x501512);
    p.Circle(24, -273, 19);
    p.Color(0xF4F4F0);
    p.Push(-4, -330, 1, 1, 0.6);
    p.Rect(-66, -9, 132, 18);
    p.Pop();
    p.Push(-4, -330, 1, 1, -0.6);
    p.Rect(-66, -9, 132, 18);
    p.Pop();
    p.Push(0, -110, 1, 1, -lift * 1.35);
    p.Color(0xF4F4F0);
    p.Rect(-40, -11, 330, 22);
    p.Color(0xD02A20);
    for (int i = 0; i < 4; ++i) {
        p.AddRect(20 + i * 72, -11, 36, 22);
    }
    p.Fill();
    p.Pop();
    p.Pop();
}

// Seen from behind on the left lane. `way` 0 is before the gate, 1 far behind the crossing.
void CrossingCar(Painter& p, double way, int rgb, bool brakes) {
    if (way > 1) {
        return;
    }
    const double y = 720 + 540 * (1 - way) * (1 - way);
    const double half = 55 + (y - 700) * 0.428;  // of the road
    p.Push(1600 - half * 0.45, y, half / 200, half / 200);
    p.Color(0x000000, 0.3);
    p.Ellipse(0, 2, 92, 14);
    p.Color(rgb);
    p.Poly({{-60, -80}, {60, -80}, {46, -128}, {-46, -128}});
    p.RoundRect(-80, -86, 160, 80, 18);
    p.Color(0x1E2933);
    p.Poly({{-50, -82}, {50, -82}, {40, -120}, {-40, -120}});
    p.Color(brakes ? 0xFF3020 : 0x8A1E18);
    p.Rect(-74, -62, 32, 18);
    p.Rect(42, -62, 32, 18);
    p.Pop();
}

}  // namespace

void RailwayStill(Painter& p) {
    p.Gradient(0, 150, 0, 700, {{0, 0x7FB7D9}, {1, 0xFBE8C6}});
    p.Rect(0, 0, kWorldWidth, 720);
    p.Glow(900, 420, 300, 0xFFF6D0, 0.9);
    p.Color(0x9DB98B);
    for (int i = 0; i < 10; ++i) {
        p.AddEllipse(i * 370, 720, 400, 120 + 130 * Noise(i + 2));
    }
    p.Fill();
    p.Gradient(0, 640, 0, kWorldHeight, {{0, 0xC9C46A}, {0.25, 0x9DAA4B}, {1, 0x5B7A32}});
    p.Rect(0, 690, kWorldWidth, kWorldHeight - 690);
    // Ploughed strips, a farm house, trees.
    for (int i = 0; i < 7; ++i) {
        p.Color(i % 2 ? 0xB59A54 : 0xA8B04C);
        p.Poly({{i * 520 - 100, 700}, {i * 520 + 190, 700}, {i * 560 + 60, 850}, {i * 560 - 360, 850}});
    }
    p.Color(0xE7DCC8);
    p.Rect(2040, 620, 170, 110);
    p.Color(0xA2442F);
    p.Poly({{2020, 625}, {2125, 540}, {2230, 625}});
    p.Color(0x6B4A35);
    p.Rect(2100, 670, 44, 60);
    for (int i = 0; i < 14; ++i) {
        Tree(p, i * 250 + 90 * Noise(i), 745, 130 + 70 * Noise(i + 9), i % 2 ? 0x5D8A3C : 0x4D7A38);
    }
    // The road that crosses, then the bed of the track.
    p.Color(0x5E6167);
    p.Poly({{1545, 700}, {1655, 700}, {2040, kWorldHeight}, {1160, kWorldHeight}});
    p.Color(0xF0F0EA);
    for (int i = 0; i < 8; ++i) {
        const double y = 730 + i * i * 16;
        p.Rect(1600 - 3 - i, y, 6 + 2 * i, 20 + 8 * i);
    }
    p.Color(0x8A7F74);
    p.Poly({{0, 985}, {kWorldWidth, 985}, {kWorldWidth, 1080}, {0, 1080}});
    p.Color(0x5A4632);
    for (int i = 0; i < 64; ++i) {
        p.AddRect(i * 50, 1000, 24, 62);
    }
    p.Fill();
    p.Color(0x5E6167);
    p.Poly({{1430, 990}, {1770, 990}, {1800, 1075}, {1400, 1075}});
    p.Color(0xC3C8CE);
    p.Rect(0, kRail, kWorldWidth, 9);
    p.Rect(0, 1045, kWorldWidth, 10);
    // Poles and the wire.
    p.Color(0x4A4E55);
    for (int i = 0; i < 6; ++i) {
        p.Rect(i * 600 + 180, 600, 14, 395);
        p.Rect(i * 600 + 180, 622, 110, 9);
    }
    p.Rect(0, 660, kWorldWidth, 4);
}

void RailwayMoving(Painter& p, double seconds) {
    // A train every 24 seconds; it is in the middle of the world from the eighth to the eighteenth.
    const double now = Wrap(seconds + 9, 24);
    const double nose = now * 420 - 2600;
    const double down = now < 6 ? 0 : now < 8 ? (now - 6) / 2 : now < 19 ? 1 : now < 21 ? (21 - now) / 2 : 0;
    const bool blink = Wrap(seconds, 0.8) < 0.4;
    p.Color(0xFFFFFF, 0.85);
    for (int i = 0; i < 4; ++i) {
        const double x = Wrap(seconds * 45 + i * 950, 3800) - 300;
        p.AddEllipse(x, 430 + 50 * (i % 2), 130, 24);
        p.AddEllipse(x + 40, 410 + 50 * (i % 2), 70, 34);
        p.AddEllipse(x - 60, 418 + 50 * (i % 2), 46, 22);
    }
    p.Fill();
    // A tractor on the far road never rests.
    const double tractor = Wrap(seconds * 55 + 1700, 3500) - 150;
    p.Push(tractor, 742);
    p.Color(0x2E7D32);
    p.Rect(0, -52, 90, 34);
    p.Rect(4, -90, 46, 40);
    p.Color(0x1C1C1E);
    p.Circle(20, -14, 26);
    p.Circle(78, -8, 17);
    p.Pop();
    const double open = Wrap(now - 21, 24);
    // The car that waited is the one that crosses next.
    const int who = static_cast<int>(std::floor((seconds - 12) / 24)) & 0xFFFF;
    if (open < 9) {
        CrossingCar(p, std::max(0.0, open - 0.5) / 7.5, kPaints[who % 7], false);
    }
    Gate(p, 1900, 985, SignalArm::ToTheLeft, {1 - down, blink, down > 0});
    for (int i = 0; i < 5; ++i) {
        Wagon(p, nose - 480 - i * 476, i % 2 ? 0x2B6777 : 0x1F4E5F);
    }
    Locomotive(p, nose);
    Gate(p, 1290, 1170, SignalArm::ToTheRight, {1 - down, blink, down > 0});
    // The next car comes and waits in front of the gate.
    CrossingCar(p, open < 9 ? std::min(0.0, (open - 8.9) / 9) : 0, kPaints[(who + 1) % 7], open > 7);
}

}  // namespace kvrecorder
