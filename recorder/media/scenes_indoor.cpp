// A warehouse with a conveyor, and a server room.
#include "media/paint.h"
#include "media/scene.h"

namespace kvrecorder {
namespace {

constexpr double kBelt = 1040;  // the conveyor's upper side
constexpr int kCartons[] = {0xC69256, 0xB47F45, 0xD8A970, 0xA9743C};

void Carton(Painter& p, double x, double y, double w, double h, int rgb) {
    p.Color(rgb);
    p.Rect(x, y - h, w, h);
    p.Color(0x000000, 0.12);
    p.Rect(x + w * 0.8, y - h, w * 0.2, h);
    p.Color(0xE9D3A8);
    p.Rect(x + w * 0.43, y - h, w * 0.12, h);
    p.Color(0xF7F7F2);
    p.Rect(x + w * 0.08, y - h * 0.5, w * 0.25, h * 0.3);
}

void RobotArm(Painter& p, double seconds) {
    const double swing = std::sin(seconds * 1.1);
    const double shoulder = -0.5 + 0.35 * swing;
    const double elbow = 1.75 - 0.55 * swing;
    p.Push(2060, 860, 1, 1, shoulder);
    p.Color(0xE8641B);
    p.RoundRect(-26, -300, 52, 320, 24);
    p.Push(0, -280, 1, 1, elbow);
    p.Color(0xF27A2C);
    p.RoundRect(-20, -250, 40, 270, 18);
    p.Color(0x2F343A);
    p.Circle(0, 0, 24);
    p.Push(0, -250, 1, 1, kPi - shoulder - elbow + kPi);
    p.Color(0x454B53);
    p.Rect(-12, -16, 24, 60);
    p.Rect(-44, 36, 88, 14);
    p.Rect(-44, 40, 12, 46);
    p.Rect(32, 40, 12, 46);
    p.Pop();
    p.Pop();
    p.Color(0x2F343A);
    p.Circle(0, 0, 32);
    p.Pop();
}

}  // namespace

void WarehouseStill(Painter& p) {
    p.Gradient(0, 150, 0, 1000, {{0, 0x5B5A55}, {0.6, 0x8C8672}, {1, 0xA59C80}});
    p.Rect(0, 0, kWorldWidth, 1000);
    p.Gradient(0, 980, 0, kWorldHeight, {{0, 0x8B8E8C}, {1, 0x5F6362}});
    p.Rect(0, 980, kWorldWidth, 620);
    // Racks full of cartons.
    for (int rack = 0; rack < 6; ++rack) {
        const double left = rack * 560 + 40;
        for (int shelf = 0; shelf < 4; ++shelf) {
            const double y = 430 + shelf * 180;
            double x = left + 20;
            for (int i = 0; x < left + 420; ++i) {
                const int n = rack * 100 + shelf * 20 + i;
                const double w = 60 + 60 * Noise(n);
                const double h = 60 + 70 * Noise(n + 7);
                if (Noise(n + 13) > 0.18) {
                    Carton(p, x, y, w, h, kCartons[n % 4]);
                }
                x += w + 10;
            }
            p.Color(0xE0782A);
            p.Rect(left, y, 500, 16);
        }
        p.Color(0x2C5A94);
        p.Rect(left - 8, 270, 22, 730);
        p.Rect(left + 486, 270, 22, 730);
    }
    // Lamps and their light.
    for (int i = 0; i < 8; ++i) {
        const double x = 200 + i * 400;
        p.Color(0x303235);
        p.Rect(x - 3, 0, 6, 262);
        p.Poly({{x - 70, 300}, {x + 70, 300}, {x + 30, 258}, {x - 30, 258}});
        p.Color(0xFFF7DC);
        p.Rect(x - 62, 300, 124, 8);
        p.Color(0xFFF3C8, 0.10);
        p.Poly({{x - 60, 306}, {x + 60, 306}, {x + 250, 1000}, {x - 250, 1000}});
    }
    // Floor marks, then the conveyor's frame.
    p.Color(0xE7C02E);
    p.Rect(0, 1226, kWorldWidth, 14);
    for (int i = 0; i < 40; ++i) {
        p.Poly({{i * 90, 1252}, {i * 90 + 45, 1252}, {i * 90 + 15, 1292}, {i * 90 - 30, 1292}});
    }
    p.Color(0x2A2D31);
    for (int i = 0; i < 11; ++i) {
        p.AddRect(i * 320 + 40, kBelt + 60, 30, 190);
    }
    p.Fill();
    p.Gradient(0, kBelt, 0, kBelt + 80, {{0, 0x6E757D}, {1, 0x3B4046}});
    p.Rect(0, kBelt + 14, kWorldWidth, 74);
    // The pillar on which the arm stands.
    p.Color(0x3B4046);
    p.Rect(2010, 860, 100, 160);
    p.Color(0xE7C02E);
    p.Rect(2010, 986, 100, 22);
}

void WarehouseMoving(Painter& p, double seconds) {
    constexpr double kSpeed = 165;
    // Rollers below the belt turn.
    p.Color(0xAAB2BB);
    for (int i = 0; i < 41; ++i) {
        p.AddCircle(i * 80 + 20, kBelt + 48, 24);
    }
    p.Fill();
    p.Color(0x4A5159);
    const double turn = seconds * kSpeed / 24;
    for (int i = 0; i < 41; ++i) {
        const double x = i * 80 + 20;
        const double dx = 20 * std::cos(turn);
        const double dy = 20 * std::sin(turn);
        cairo_move_to(p.Cairo(), x - dx, kBelt + 48 - dy);
        cairo_line_to(p.Cairo(), x + dx, kBelt + 48 + dy);
        cairo_move_to(p.Cairo(), x + dy, kBelt + 48 - dx);
        cairo_line_to(p.Cairo(), x - dy, kBelt + 48 + dx);
    }
    cairo_set_line_width(p.Cairo(), 6);
    cairo_stroke(p.Cairo());
    p.Color(0x1F2226);
    p.Rect(0, kBelt, kWorldWidth, 18);
    // The belt carries a carton every 300 units.
    const double travelled = seconds * kSpeed;
    const int first = static_cast<int>(std::floor(travelled / 300));
    const double shift = Wrap(travelled, 300);
    for (int i = 0; i < 12; ++i) {
        const int who = (i - first) & 4095;
        const double x = i * 300 + shift - 300;
        const double w = 110 + 90 * Noise(who);
        if (p.Sees(x, kBelt - 220, w, 220)) {
            Carton(p, x, kBelt, w, 100 + 90 * Noise(who + 5), kCartons[who % 4]);
        }
    }
    RobotArm(p, seconds);
    // A fork lift goes to and fro in front.
    const double phase = Wrap(seconds / 12, 2);
    const bool right = phase < 1;
    const double x = right ? 700 + phase * 1750 : 2450 - (phase - 1) * 1750;
    p.Push(x, 1282, right ? 1 : -1, 1);
    p.Color(0x000000, 0.25);
    p.Ellipse(20, 6, 220, 20);
    Carton(p, 150, -14, 130, 120, 0xC69256);
    p.Color(0x2B2E33);
    p.Rect(122, -260, 18, 256);
    p.Rect(130, -14, 150, 12);
    p.Color(0xF2B90C);
    p.RoundRect(-130, -130, 240, 110, 22);
    p.Color(0x2B2E33);
    p.Line(-90, -130, -70, -250, 12);
    p.Line(80, -130, 60, -250, 12);
    p.Rect(-84, -260, 158, 16);
    p.Color(0x2D63B8);
    p.RoundRect(-50, -200, 56, 80, 18);
    p.Color(0xE5B58E);
    p.Circle(-18, -218, 22);
    p.Color(0x1A1B1E);
    p.Circle(-74, -20, 36);
    p.Circle(70, -20, 36);
    p.Color(Wrap(seconds, 0.7) < 0.35 ? 0xFF8A00 : 0x7A4A10);
    p.Rect(-20, -282, 30, 22);
    p.Pop();
}

namespace {

constexpr int kRacks = 12;
constexpr int kUnits = 15;
double RackX(int rack) {
    return rack * 270 + 20;
}
double UnitY(int unit) {
    return 340 + unit * 50;
}

// Lamps of one colour that shine now.
void Lamps(Painter& p, int rgb, int kind, double seconds) {
    p.Color(rgb);
    for (int rack = 0; rack < kRacks; ++rack) {
        if (!p.Sees(RackX(rack), 300, 230, 800)) {
            continue;
        }
        for (int unit = 0; unit < kUnits; ++unit) {
            for (int lamp = 0; lamp < 4; ++lamp) {
                const int id = (rack * kUnits + unit) * 4 + lamp;
                const double fate = Noise(id);
                const int mine = fate < 0.62 ? 0 : fate < 0.93 ? 1 : 2;
                const int beat = static_cast<int>(seconds * (2 + 7 * Noise(id + 5)));
                if (mine == kind && Noise(id * 31 + beat % 997) > 0.4) {
                    p.AddRect(RackX(rack) + 130 + lamp * 20, UnitY(unit) + 14, 12, 12);
                }
            }
        }
    }
    p.Fill();
}

}  // namespace

void ServersStill(Painter& p) {
    p.Gradient(0, 100, 0, 1200, {{0, 0x0B1524}, {1, 0x16283F}});
    p.Rect(0, 0, kWorldWidth, kWorldHeight);
    p.Gradient(0, 1100, 0, kWorldHeight, {{0, 0x23384F}, {1, 0x0F1A28}});
    p.Rect(0, 1140, kWorldWidth, 460);
    p.Color(0x2F4A66);
    for (int i = -10; i < 30; ++i) {
        p.Line(1600 + (i - 10) * 190, 1140, 1600 + (i - 10) * 420, kWorldHeight, 4);
    }
    for (int i = 0; i < 6; ++i) {
        p.Rect(0, 1140 + i * i * 14 + 10 * i, kWorldWidth, 3);
    }
    // A tray of cables and lights along the ceiling.
    p.Color(0x31465C);
    p.Rect(0, 250, kWorldWidth, 26);
    p.Color(0xBFE8FF);
    for (int i = 0; i < 8; ++i) {
        p.AddRect(i * 420 + 60, 222, 280, 12);
    }
    p.Fill();
    p.Gradient(0, 230, 0, 520, {{0, 0x2A4A68}, {1, 0x122238}});
    for (int rack = 0; rack < kRacks; ++rack) {
        const double x = RackX(rack);
        p.Color(0x05090F);
        p.RoundRect(x - 8, 306, 246, 846, 10);
        p.Color(0x1A2634);
        p.RoundRect(x, 314, 230, 830, 6);
        for (int unit = 0; unit < kUnits; ++unit) {
            const double y = UnitY(unit);
            p.Color(unit % 5 == 3 ? 0x39506B : 0x26384C);
            p.RoundRect(x + 10, y, 210, 42, 4);
            p.Color(0x0D1621);
            for (int slot = 0; slot < 5; ++slot) {
                p.AddRect(x + 20 + slot * 20, y + 9, 14, 24);
            }
            for (int lamp = 0; lamp < 4; ++lamp) {
                p.AddRect(x + 130 + lamp * 20, y + 14, 12, 12);
            }
            p.Fill();
        }
    }
    p.Color(0x4FC3F7, 0.16);
    for (int rack = 0; rack < kRacks; ++rack) {
        p.Rect(RackX(rack) + 10, 1160, 210, 150);
    }
}

void ServersMoving(Painter& p, double seconds) {
    Lamps(p, 0x41F07A, 0, seconds);
    Lamps(p, 0x3FA9FF, 1, seconds);
    Lamps(p, 0xFFB020, 2, seconds);
    // A service robot on its round, with a scanning eye.
    const double phase = Wrap(seconds / 13 + 0.3, 2);
    const bool right = phase < 1;
    const double x = right ? 900 + phase * 1400 : 2300 - (phase - 1) * 1400;
    const double scan = std::sin(seconds * 2.4);
    p.Push(x, 1285, right ? 1 : -1, 1);
    p.Color(0x59E0FF, 0.16);
    p.Poly({{40, -330}, {430, -470 + 260 * scan}, {430, -340 + 260 * scan}});
    p.Color(0x000000, 0.4);
    p.Ellipse(0, 8, 150, 22);
    p.Color(0xE6ECF2);
    p.RoundRect(-90, -210, 180, 190, 40);
    p.RoundRect(-60, -390, 120, 130, 48);
    p.Color(0x9AA8B7);
    p.Rect(-22, -264, 44, 58);
    p.RoundRect(-104, -40, 208, 44, 20);
    p.Color(0x101C2A);
    p.RoundRect(-6, -360, 62, 58, 22);
    p.Color(0x59E0FF);
    p.Circle(28, -331 + 10 * scan, 14);
    p.Rect(-50, -170, 100, 12);
    p.Color(0xFF7A59);
    p.Circle(-34, -120, 14);
    p.Color(Wrap(seconds, 1) < 0.5 ? 0x41F07A : 0x1C6B38);
    p.Circle(4, -120, 14);
    p.Color(0x1B2430);
    for (const double wheel : {-64.0, 0.0, 64.0}) {
        p.Circle(wheel, 0, 22);
    }
    p.Pop();
}

}  // namespace kvrecorder
