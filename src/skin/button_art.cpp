#include "skin/button_art.h"

#include <QtCore/QCoreApplication>
#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <algorithm>
#include <cmath>

#include "skin/icons.h"
#include "skin/skin_colours.h"
#include "skin/style_parts.h"

namespace kvmon {

namespace {

enum class Face : std::uint8_t {
    kPlate,  // raised, with an edge
    kRim,    // a plate whose outer edge follows the rim of the camera pad
    kBare,   // the sign alone; a plate comes with the pointer
};

struct Subject {
    int id;
    IconDrawing draw;  // null: the number of the preset
    Face face;
    double margin;  // logical pixels around the sign
};

using namespace icons;

constexpr Subject kSubjects[] = {
    {1600, TwoDisplays, Face::kPlate, 6},    {1602, Language, Face::kPlate, 6},
    {1604, Playback, Face::kPlate, 6},       {1605, Gear, Face::kPlate, 6},
    {1606, Wrench, Face::kPlate, 6},         {1607, Question, Face::kPlate, 6},
    {1608, Leave, Face::kPlate, 6},          {1609, Reset, Face::kPlate, 6},
    {1610, CameraSettings, Face::kPlate, 6}, {1612, MenuLines, Face::kPlate, 6},
    {1613, Recorders, Face::kPlate, 6},      {1650, Dots, Face::kPlate, 1},
    {1651, Single, Face::kPlate, 5},         {1652, PictureInPicture, Face::kPlate, 8},
    {1653, Grid4, Face::kPlate, 8},          {1654, Grid6, Face::kPlate, 6},
    {1655, Grid8, Face::kPlate, 6},          {1656, Grid9, Face::kPlate, 6},
    {1657, Grid10, Face::kPlate, 6},         {1658, Grid12, Face::kPlate, 6},
    {1659, GridCustom, Face::kPlate, 6},     {1660, ViewSize, Face::kPlate, 7},
    {1661, FullScreen, Face::kPlate, 7},     {1662, Sequential, Face::kPlate, 6},
    {1663, Dots, Face::kPlate, 1},           {1664, Dots, Face::kPlate, 1},
    {1750, Snapshot, Face::kPlate, 3},       {1751, Record, Face::kPlate, 3},
    {1752, Speaker, Face::kPlate, 3},        {1753, Microphone, Face::kPlate, 3},
    {1754, Globe, Face::kPlate, 3},          {1953, MenuLines, Face::kPlate, 3},
    {1800, House, Face::kPlate, 4},          {1801, ArrowUp, Face::kRim, 1},
    {1802, ArrowDown, Face::kRim, 1},        {1803, ArrowLeft, Face::kRim, 1},
    {1804, ArrowRight, Face::kRim, 1},       {1805, CornerUpLeft, Face::kBare, 1},
    {1806, CornerUpRight, Face::kBare, 1},   {1807, CornerDownLeft, Face::kBare, 1},
    {1808, CornerDownRight, Face::kBare, 1}, {1809, Plus, Face::kPlate, 1},
    {1810, Minus, Face::kPlate, 1},          {1811, nullptr, Face::kPlate, 1},
    {1812, nullptr, Face::kPlate, 1},        {1813, nullptr, Face::kPlate, 1},
    {1814, nullptr, Face::kPlate, 1},        {1815, nullptr, Face::kPlate, 1},
    {1816, nullptr, Face::kPlate, 1},        {1817, nullptr, Face::kPlate, 1},
    {1818, nullptr, Face::kPlate, 1},        {1819, nullptr, Face::kPlate, 1},
    {1820, nullptr, Face::kPlate, 1},        {1841, Person, Face::kPlate, 0},
    {1842, Mountain, Face::kPlate, 0},       {1614, CameraList, Face::kPlate, 6},
};

constexpr int kFirstPreset = 1811;

const Subject* FindSubject(int id) {
    const auto* const found = std::find_if(std::begin(kSubjects), std::end(kSubjects),
                                           [id](const Subject& subject) { return subject.id == id; });
    return found == std::end(kSubjects) ? nullptr : found;
}

struct ButtonColours {
    QRgb face, edge, ink;
};

// By look; the second half is for a checked button.
ButtonColours ButtonColoursOf(const SkinColours& c, ButtonLook look, bool checked) {
    const ButtonColours all[kButtonBitmaps] = {
        {c.face, c.edge, c.ink},
        {c.faceHover, c.edgeHover, c.inkBright},
        {c.facePressed, c.accent, c.accentBright},
        {c.faceDisabled, c.edgeDisabled, c.inkDisabled},
        {c.faceDisabled, c.edge, c.inkDisabled},
        {c.faceChecked, c.accent, c.inkBright},
        {c.faceCheckedHover, c.accentBright, c.inkBright},
        {c.facePressed, c.accentBright, c.accentBright},
        {c.faceDisabled, c.inkDisabled, c.inkFaint},
        {c.faceChecked, c.edge, c.inkDisabled},
    };
    return all[ButtonBitmapIndex(look, checked)];
}

// The pad's arrows lie on a circle about its middle.
constexpr double kRimRadius = 72;

// Where the middle of the pad is, seen from one of its arrows.
QPointF PadCentre(int id, const QRectF& box) {
    const double reach = kRimRadius;
    switch (id) {
        case 1801:
            return {box.center().x(), box.top() + reach};
        case 1802:
            return {box.center().x(), box.bottom() - reach};
        case 1803:
            return {box.left() + reach, box.center().y()};
        default:
            return {box.right() - reach, box.center().y()};
    }
}

QPainterPath PlatePath(Face face, int id, const QRectF& box, const QRectF& rect) {
    const double radius = std::clamp(std::min(box.width(), box.height()) / 4, 2.0, 4.0);
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    if (face != Face::kRim) {
        return path;
    }
    QPainterPath circle;
    circle.addEllipse(PadCentre(id, box), kRimRadius - 0.5, kRimRadius - 0.5);
    return path.intersected(circle);
}

void DrawPlate(QPainter& painter, const QPainterPath& plate, const ButtonColours& colours, double line,
               ButtonLook look) {
    const QColor face(colours.face);
    const QRectF rect = plate.boundingRect();
    QLinearGradient shade(rect.topLeft(), rect.bottomLeft());
    const bool sunken = look == ButtonLook::kPressed;
    shade.setColorAt(0, sunken ? face.darker(115) : face.lighter(112));
    shade.setColorAt(1, sunken ? face.lighter(112) : face.darker(112));
    painter.setPen(QPen(QColor(colours.edge), line));
    painter.setBrush(look == ButtonLook::kDisabled ? QBrush(face) : QBrush(shade));
    painter.drawPath(plate);
}

void DrawNumber(QPainter& painter, const QRectF& box, int number, const QColor& ink) {
    QFont font = QGuiApplication::font();
    font.setPixelSize(11);
    font.setWeight(QFont::DemiBold);
    painter.setFont(font);
    painter.setPen(ink);
    painter.drawText(box, Qt::AlignCenter, QString::number(number));
}

void DrawButton(QPainter& painter, const Subject* subject, int id, const QRectF& box, ButtonLook look,
                bool checked, const SkinColours& skin) {
    const ButtonColours colours = ButtonColoursOf(skin, look, checked);
    const bool atRest = look == ButtonLook::kNormal || look == ButtonLook::kDisabled;
    const Face face = subject == nullptr ? Face::kPlate : subject->face;
    if (face != Face::kBare || !atRest) {
        const style::PixelLine line = style::LineAround(painter, box);
        DrawPlate(painter, PlatePath(face, id, box, line.rect), colours, line.width, look);
    }
    if (subject == nullptr) {
        return;
    }
    const double m = std::min(subject->margin, std::min(box.width(), box.height()) / 2 - 3);
    QRectF sign = box.adjusted(m, m, -m, -m);
    if (look == ButtonLook::kPressed) {
        sign.translate(0, 1);
    }
    const QColor ink(colours.ink);
    if (subject->draw == nullptr) {
        DrawNumber(painter, sign, id - kFirstPreset + 1, ink);
        return;
    }
    const QColor live(id == 1751 ? skin.record : skin.accent);
    const bool faint = look == ButtonLook::kDisabled || look == ButtonLook::kBusy;
    subject->draw(painter, sign, {ink, faint ? ink : live, checked});
}

}  // namespace

bool HasButtonArt(int id) {
    return FindSubject(id) != nullptr;
}

QPixmap RenderButton(int id, QSizeF size, double scale, ButtonLook look, bool checked,
                     const SkinColours& colours) {
    QPixmap bitmap(QSize(static_cast<int>(std::lround(size.width() * scale)),
                         static_cast<int>(std::lround(size.height() * scale))));
    if (bitmap.isNull()) {
        return bitmap;
    }
    bitmap.setDevicePixelRatio(scale);
    bitmap.fill(Qt::transparent);
    QPainter painter(&bitmap);
    painter.setRenderHint(QPainter::Antialiasing);
    DrawButton(painter, FindSubject(id), id, QRectF(QPointF(), size), look, checked, colours);
    return bitmap;
}

}  // namespace kvmon
