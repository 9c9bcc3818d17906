// The texts over a picture, drawn once and laid over every frame.
#pragma once

#include <QtGui/QImage>
#include <array>
#include <cstdint>
#include <string>

#include "channel/picture/pixels.h"

class QPainter;
class QRect;

namespace kvmon {

inline constexpr int kMaxCaptionLines = 17;

// Texts as they are to be seen; an empty one takes no room.
struct CaptionTexts {
    std::string main;
    std::array<std::string, kMaxCaptionLines> lines;
    std::uint32_t color = 0;  // red in the low byte
};

// A text as one line of bounded length.
std::string DisplayLine(const std::string& text);

// A text in the middle of a view, in the painter's units, on the plate of the captions.
void PaintNotice(QPainter& painter, const QRect& view, const std::string& text);

// Keeps each text as an image, on a plate that sets it off from any picture, and draws anew only what has
// changed. One thread at a time.
class CaptionLayer {
public:
    // For a view of this size in pixels; `scale` of these make one unit.
    void Update(const CaptionTexts& texts, int viewWidth, int viewHeight, double scale);
    void Blend(const PixelImage& image) const;
    // With a painter whose units are the view's pixels.
    void Paint(QPainter& painter) const;

private:
    struct Sprite {
        std::string text;
        QImage image;
        int x = 0;
        int y = 0;
        int advance = 0;  // to the next line
    };

    void KeepLinesClear();
    void DrawMain(const std::string& text);
    void DrawLine(Sprite& sprite, const std::string& text) const;
    template <typename Visit>
    void ForEach(const Visit& visit) const;

    int m_viewWidth = 0;
    int m_viewHeight = 0;
    double m_scale = 1.0;
    std::uint32_t m_color = 0;
    Sprite m_main;
    std::array<Sprite, kMaxCaptionLines> m_lines;
};

}  // namespace kvmon
