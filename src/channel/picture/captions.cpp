#include "channel/picture/captions.h"

#include <QtGui/QFont>
#include <QtGui/QFontMetrics>
#include <QtGui/QPainter>
#include <algorithm>
#include <cmath>

#include "platform/outside_text.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::size_t kLongestLine = 256;  // UTF-16 units
constexpr int kLineHeight = 16;
constexpr int kLineShadow = 1;
constexpr int kMainShadow = 3;
constexpr int kPlatePad = 4;
constexpr int kLeastHeight = 10;  // smaller letters cannot be read
constexpr int kNoticeParts = 14;  // of the view's height
constexpr int kLargestNotice = 26;
constexpr int kDarkInk = 90;

// A font whose ascent and descent fill `height` pixels.
QFont FontOfHeight(int height) {
    QFont font;
    font.setPixelSize(std::max(height, 1));
    const int full = QFontMetrics(font).height();
    if (full > height) {
        font.setPixelSize(std::max(height * height / full, 1));
    }
    return font;
}

int Scaled(int units, double scale) {
    return std::max(static_cast<int>(std::lround(units * scale)), 1);
}

QColor ColorOf(std::uint32_t color) {
    return {static_cast<int>(color & 0xFF), static_cast<int>(color >> 8 & 0xFF),
            static_cast<int>(color >> 16 & 0xFF)};
}

// Dark, but behind a colour that would sink in it.
QColor PlateFor(const QColor& ink) {
    return ink.lightness() < kDarkInk ? QColor(255, 255, 255, 190) : QColor(0, 0, 0, 170);
}

// All in pixels: where the text and its shadow stand, and how far the plate reaches beyond them.
struct TextPlace {
    int text;
    int shadow;
    int padX;
    int padY;
};

// The text with its shadow on its plate, in an image just large enough.
QImage DrawText(const QString& text, const QFont& font, std::uint32_t color, const TextPlace& place) {
    const QFontMetrics metrics(font);
    const int reach = std::max(place.text, place.shadow);
    // Slanted letters may lean out of their advance.
    const int width = metrics.horizontalAdvance(text) + reach + metrics.averageCharWidth() / 2;
    QImage image(width + 2 * place.padX, metrics.height() + reach + 2 * place.padY,
                 QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) {
        return image;
    }
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(PlateFor(ColorOf(color)));
    painter.drawRoundedRect(image.rect(), place.padX, place.padX);
    painter.translate(place.padX, place.padY + metrics.ascent());
    painter.setFont(font);
    painter.setPen(Qt::black);
    painter.drawText(place.shadow, place.shadow, text);
    painter.setPen(ColorOf(color));
    painter.drawText(place.text, place.text, text);
    return image;
}

struct FittedText {
    QString text;  // empty if nothing of it can be shown
    QFont font;
};

// The text as high as it fits the width, from `height` down; what does not fit at `least` is cut.
FittedText FitText(const QString& text, int width, int height, int least) {
    const auto widthAt = [&text](int h) { return QFontMetrics(FontOfHeight(h)).horizontalAdvance(text); };
    height = std::max(height, least);
    const int wide = widthAt(height);
    if (wide > width) {
        // Widths go nearly with the height: start where it may fit, instead of far above.
        height = std::clamp(static_cast<int>(std::int64_t{height} * width / wide) + 2, least, height);
        while (height > least && widthAt(height) > width) {
            --height;
        }
    }
    const QFont font = FontOfHeight(height);
    const QString fitted = QFontMetrics(font).elidedText(text, Qt::ElideRight, width);
    return {fitted.size() > 1 || fitted == text ? fitted : QString(), font};
}

PixelImage PixelsOf(const QImage& image) {
    // Only read from: a sprite.
    return {const_cast<std::uint8_t*>(image.constBits()), image.bytesPerLine(), image.width(),
            image.height()};
}

}  // namespace

std::string DisplayLine(const std::string& text) {
    return OutsideLine(Utf16Left(TrimRight(text, "\r\n"), kLongestLine));
}

void PaintNotice(QPainter& painter, const QRect& view, const std::string& text) {
    const int height = std::min(view.height() / kNoticeParts, kLargestNotice);
    const FittedText fitted = FitText(QString::fromStdString(DisplayLine(text)), view.width() - 4 * kPlatePad,
                                      height, kLeastHeight);
    const QFontMetrics metrics(fitted.font);
    QRect plate(0, 0, metrics.horizontalAdvance(fitted.text) + 4 * kPlatePad,
                metrics.height() + 2 * kPlatePad);
    plate.moveCenter(view.center());
    if (fitted.text.isEmpty() || plate.height() > view.height()) {
        return;
    }
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 200));
    painter.drawRoundedRect(plate, kPlatePad, kPlatePad);
    painter.setFont(fitted.font);
    painter.setPen(Qt::white);
    painter.drawText(plate, Qt::AlignCenter | Qt::TextSingleLine, fitted.text);
    painter.restore();
}

void CaptionLayer::Update(const CaptionTexts& texts, int viewWidth, int viewHeight, double scale) {
    const bool anew = m_scale != scale || m_color != texts.color;
    const bool resized = anew || m_viewWidth != viewWidth || m_viewHeight != viewHeight;
    m_viewWidth = viewWidth;
    m_viewHeight = viewHeight;
    m_scale = scale;
    m_color = texts.color;
    if (resized || m_main.text != texts.main) {
        DrawMain(texts.main);
    }
    int y = 0;
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
        Sprite& line = m_lines[i];
        if (anew || line.text != texts.lines[i]) {
            DrawLine(line, texts.lines[i]);
        }
        line.y = y;
        y += line.advance;
    }
    KeepLinesClear();
}

// A wide main caption and the lines begin at one height: where they would meet, the lines stand below it.
void CaptionLayer::KeepLinesClear() {
    const auto meets = [this](const Sprite& line) {
        return !line.image.isNull() && line.image.width() > m_main.x &&
               line.y < m_main.y + m_main.image.height();
    };
    if (m_main.image.isNull() || std::none_of(m_lines.begin(), m_lines.end(), meets)) {
        return;
    }
    const int below = m_main.y + m_main.image.height();
    for (Sprite& line : m_lines) {
        line.y += below;
    }
}

void CaptionLayer::DrawMain(const std::string& text) {
    m_main.text = text;
    m_main.image = QImage();
    if (text.empty()) {
        return;
    }
    const int least = Scaled(kLeastHeight, m_scale);
    if (m_viewHeight < least) {
        return;
    }
    const FittedText fitted =
        FitText(QString::fromStdString(DisplayLine(text)), m_viewWidth, m_viewHeight / 8, least);
    if (fitted.text.isEmpty()) {
        return;
    }
    const int shadow = Scaled(kMainShadow, m_scale);
    const int pad = Scaled(kPlatePad, m_scale);
    const QFontMetrics metrics(fitted.font);
    m_main.image = DrawText(fitted.text, fitted.font, m_color, {0, shadow, pad, 0});
    m_main.x = (m_viewWidth - metrics.horizontalAdvance(fitted.text)) / 2 - shadow - pad;
    // Up by the shadow's offset, but no letter leaves the view.
    const int free = std::max(metrics.ascent() + metrics.tightBoundingRect(fitted.text).top(), 0);
    m_main.y = -std::min(shadow, free);
}

void CaptionLayer::DrawLine(Sprite& sprite, const std::string& text) const {
    sprite.text = text;
    sprite.image = QImage();
    sprite.advance = 0;
    if (text.empty()) {
        return;
    }
    const QFont font = FontOfHeight(Scaled(kLineHeight, m_scale));
    sprite.image = DrawText(QString::fromStdString(DisplayLine(text)), font, m_color,
                            {0, Scaled(kLineShadow, m_scale), 0, 0});
    sprite.advance = QFontMetrics(font).height();
}

template <typename Visit>
void CaptionLayer::ForEach(const Visit& visit) const {
    if (!m_main.image.isNull()) {
        visit(m_main);
    }
    for (const Sprite& line : m_lines) {
        if (!line.image.isNull()) {
            visit(line);
        }
    }
}

void CaptionLayer::Blend(const PixelImage& image) const {
    ForEach([&image](const Sprite& s) { BlendOver(image, s.x, s.y, PixelsOf(s.image)); });
}

void CaptionLayer::Paint(QPainter& painter) const {
    ForEach([&](const Sprite& s) { painter.drawImage(s.x, s.y, s.image); });
}

}  // namespace kvmon
