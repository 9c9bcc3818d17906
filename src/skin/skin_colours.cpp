#include "skin/skin_colours.h"

#include <QtWidgets/QWidget>
#include <algorithm>
#include <cmath>

namespace kvmon {

namespace {

// A slightly blue grey that does not dazzle at night. The cells keep their grey and orange; the letters on
// these get a dark rim.
constexpr SkinColours kDark = {
    .well = 0xff07090b,
    .window = 0xff14181d,
    .panel = 0xff1b2027,
    .section = 0xff15191f,
    .field = 0xff0f1317,
    .face = 0xff2c343e,
    .faceHover = 0xff3a4552,
    .facePressed = 0xff11151a,
    .faceChecked = 0xff1a4459,
    .faceCheckedHover = 0xff1e4e65,
    .faceDisabled = 0xff1d2229,
    .edge = 0xff76859a,
    .edgeHover = 0xff93a2b4,
    .edgeDisabled = 0xff667383,
    .line = 0xff2f3843,
    .shadow = 0xff0a0c0f,
    .light = 0xff2a313a,
    .ink = 0xffbac5d0,
    .inkBright = 0xffeaf1f7,
    .inkFaint = 0xff8f9ba7,
    .inkDisabled = 0xff8994a0,
    .accent = 0xff4fb3d9,
    .accentBright = 0xff9ddcf5,
    .focus = 0xffe3c25c,
    .record = 0xfff07468,
    .good = 0xff57b36a,
    .captionWhite = 0xfff2f5f8,
    .captionBlue = 0xff6fb4ff,
    .cellGround = 0xff9b9a9f,
    .cellEdge = 0xff000000,
    .active = {.ground = 0xffe59148,
               .text = 0xffffffff,
               .halo = 0xff4a2500,
               .ink = 0xff2b1500,
               .dim = 0xff5a3410,
               .red = 0xff9a060c,
               .amber = 0xff542400,
               .green = 0xff0a5c20,
               .blue = 0xff163896,
               .plate = 0xffa00a12,
               .onPlate = 0xffffffff},
    .inactive = {.ground = 0xff514f54,
                 .text = 0xffacacb0,
                 .halo = 0xff141416,
                 .ink = 0xffdcdce0,
                 .dim = 0xffb4b4b8,
                 .red = 0xffff766c,
                 .amber = 0xfffac446,
                 .green = 0xff7ecd6e,
                 .blue = 0xff6ebaf0,
                 .plate = 0xffd6282c,
                 .onPlate = 0xffffffff},
};

constexpr SkinColours kLight = {
    .well = 0xffdfe3e8,
    .window = 0xffeef1f4,
    .panel = 0xfff7f8fa,
    .section = 0xffeceff3,
    .field = 0xffffffff,
    .face = 0xffe6eaef,
    .faceHover = 0xffdae1e8,
    .facePressed = 0xffc8d1da,
    .faceChecked = 0xffcfe6f3,
    .faceCheckedHover = 0xffc2e0f0,
    .faceDisabled = 0xfff2f4f6,
    .edge = 0xff69727c,
    .edgeHover = 0xff4a545e,
    .edgeDisabled = 0xff7d868f,
    .line = 0xffc6cdd4,
    .shadow = 0xffb4bcc4,
    .light = 0xffffffff,
    .ink = 0xff2a333c,
    .inkBright = 0xff0b1116,
    .inkFaint = 0xff55606a,
    .inkDisabled = 0xff5c6670,
    .accent = 0xff0a6082,
    .accentBright = 0xff064860,
    .focus = 0xff8f4c00,
    .record = 0xffb3241a,
    .good = 0xff1b7033,
    .captionWhite = 0xff0b1116,
    .captionBlue = 0xff0b57b0,
    .cellGround = 0xffc3c9d0,
    .cellEdge = 0xff5c6670,
    .active = {.ground = 0xffe59148,
               .text = 0xff000000,
               .halo = 0,
               .ink = 0xff2b1500,
               .dim = 0xff5a3410,
               .red = 0xff9a060c,
               .amber = 0xff542400,
               .green = 0xff0a5c20,
               .blue = 0xff163896,
               .plate = 0xffa00a12,
               .onPlate = 0xffffffff},
    .inactive = {.ground = 0xffdfe3e8,
                 .text = 0xff2a333c,
                 .halo = 0,
                 .ink = 0xff2a333c,
                 .dim = 0xff59636d,
                 .red = 0xffb3241a,
                 .amber = 0xff7a4a00,
                 .green = 0xff1b7033,
                 .blue = 0xff0b57b0,
                 .plate = 0xffb3241a,
                 .onPlate = 0xffffffff},
};

// Black and white, with a line around everything.
constexpr SkinColours kHighContrast = {
    .well = 0xff000000,
    .window = 0xff000000,
    .panel = 0xff000000,
    .section = 0xff000000,
    .field = 0xff000000,
    .face = 0xff000000,
    .faceHover = 0xff2b2b2b,
    .facePressed = 0xff404040,
    .faceChecked = 0xff3d3500,
    .faceCheckedHover = 0xff4c4200,
    .faceDisabled = 0xff000000,
    .edge = 0xffffffff,
    .edgeHover = 0xffffffff,
    .edgeDisabled = 0xffa8a8a8,
    .line = 0xffffffff,
    .shadow = 0xffffffff,
    .light = 0xffffffff,
    .ink = 0xffffffff,
    .inkBright = 0xffffffff,
    .inkFaint = 0xffe0e0e0,
    .inkDisabled = 0xffb8b8b8,
    .accent = 0xffffe14d,
    .accentBright = 0xfffff0a0,
    .focus = 0xff00e5ff,
    .record = 0xffff8a80,
    .good = 0xff6fe08a,
    .captionWhite = 0xffffffff,
    .captionBlue = 0xff9ecbff,
    .cellGround = 0xff000000,
    .cellEdge = 0xffffffff,
    .active = {.ground = 0xffffe14d,
               .text = 0xff000000,
               .halo = 0,
               .ink = 0xff000000,
               .dim = 0xff4a4000,
               .red = 0xff8a0008,
               .amber = 0xff5a3000,
               .green = 0xff0a4c1c,
               .blue = 0xff163896,
               .plate = 0xff8a0008,
               .onPlate = 0xffffffff},
    .inactive = {.ground = 0xff000000,
                 .text = 0xffffffff,
                 .halo = 0,
                 .ink = 0xffffffff,
                 .dim = 0xffd0d0d0,
                 .red = 0xffff8a80,
                 .amber = 0xffffe14d,
                 .green = 0xff6fe08a,
                 .blue = 0xff9ecbff,
                 .plate = 0xffff8a80,
                 .onPlate = 0xff000000},
};

double Luminance(QRgb colour) {
    const auto linear = [](int value) {
        const double c = value / 255.0;
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(qRed(colour)) + 0.7152 * linear(qGreen(colour)) + 0.0722 * linear(qBlue(colour));
}

}  // namespace

const SkinColours& ColoursOf(SkinLook look) {
    return look == SkinLook::Light ? kLight : look == SkinLook::HighContrast ? kHighContrast : kDark;
}

SkinLook LookOf(const QWidget& widget) {
    // A style sheet's own style passes the question on to the skin's.
    return static_cast<SkinLook>(widget.style()->styleHint(kLookHint, nullptr, &widget));
}

const SkinColours& ColoursOf(const QWidget& widget) {
    return ColoursOf(LookOf(widget));
}

double ContrastOf(QRgb a, QRgb b) {
    const auto [low, high] = std::minmax({Luminance(a), Luminance(b)});
    return (high + 0.05) / (low + 0.05);
}

}  // namespace kvmon
