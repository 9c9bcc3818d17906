#include "channel/captions.h"

#include <QtGui/QFont>
#include <QtGui/QFontMetrics>
#include <QtGui/QPainter>
#include <algorithm>
#include <cmath>

#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::size_t kLongestLine = 256;  // UTF-16 units
constexpr int kLineHeight = 16;
constexpr int kLineShadow = 1;
constexpr int kMainShadow = 3;

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

struct Offsets {
    int text;
    int shadow;
};

// The text with its shadow, in an image just large enough.
QImage DrawText(const QString& text, const QFont& font, std::uint32_t color, Offsets offsets) {
    const QFontMetrics metrics(font);
    const int reach = std::max(offsets.text, offsets.shadow);
    // Slanted letters may lean out of their advance.
    const int width = metrics.horizontalAdvance(text) + reach + metrics.averageCharWidth();
    QImage image(width, metrics.height() + reach, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) {
        return image;
    }
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(Qt::black);
    painter.drawText(offsets.shadow, offsets.shadow + metrics.ascent(), text);
    painter.setPen(ColorOf(color));
    painter.drawText(offsets.text, offsets.text + metrics.ascent(), text);
    return image;
}

PixelImage PixelsOf(const QImage& image) {
    // Only read from: a sprite.
    return {const_cast<std::uint8_t*>(image.constBits()), image.bytesPerLine(), image.width(),
            image.height()};
}

}  // namespace

std::string DisplayLine(const std::string& text) {
    std::string line = Utf16Left(text, kLongestLine);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; },
        ' ');
    return line;
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
    const QString shown = QString::fromStdString(DisplayLine(text));
    int height = m_viewHeight / 8;
    if (height < 1) {
        return;
    }
    const auto widthAt = [&shown](int h) { return QFontMetrics(FontOfHeight(h)).horizontalAdvance(shown); };
    int width = widthAt(height);
    if (width > m_viewWidth) {
        // Widths go nearly with the height: start where it may fit, instead of far above.
        height = std::min(height, static_cast<int>(std::int64_t{height} * m_viewWidth / width) + 2);
        for (width = widthAt(height); width > m_viewWidth; width = widthAt(height)) {
            if (--height < 1) {
                return;
            }
        }
    }
    const int shadow = Scaled(kMainShadow, m_scale);
    const QFont font = FontOfHeight(height);
    const QFontMetrics metrics(font);
    m_main.image = DrawText(shown, font, m_color, {0, shadow});
    m_main.x = (m_viewWidth - width) / 2 - shadow;
    // Up by the shadow's offset, but no letter leaves the view.
    const int free = std::max(metrics.ascent() + metrics.tightBoundingRect(shown).top(), 0);
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
    sprite.image =
        DrawText(QString::fromStdString(DisplayLine(text)), font, m_color, {0, Scaled(kLineShadow, m_scale)});
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
