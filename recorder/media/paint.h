// What the scenes are painted with. Inside this folder only.
#pragma once

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <utility>

namespace kvrecorder {

inline constexpr double kPi = 3.14159265358979323846;

// A number of 0 to 1 that is always the same for `i`.
inline double Noise(int i) {
    auto h = static_cast<std::uint32_t>(i) * 0x9E3779B1u;
    h = (h ^ (h >> 15)) * 0x85EBCA6Bu;
    h = (h ^ (h >> 13)) * 0xC2B2AE35u;
    return static_cast<double>((h ^ (h >> 16)) >> 8) / 16777216.0;
}

// The rest of a division that stays positive.
inline double Wrap(double value, double period) {
    return value - std::floor(value / period) * period;
}

// Shapes in the coordinates of a scene. Colours are 0xRRGGBB.
class Painter {
public:
    explicit Painter(cairo_t* cairo) : m_cairo(cairo) {
        cairo_clip_extents(cairo, &m_left, &m_top, &m_right, &m_bottom);
    }

    // Some of the rectangle can be seen; valid at the scene's own coordinates only.
    bool Sees(double x, double y, double w, double h) const {
        return x < m_right && y < m_bottom && x + w > m_left && y + h > m_top;
    }

    void Color(int rgb, double alpha = 1) {
        const auto part = [rgb](int shift) { return ((rgb >> shift) & 255) / 255.0; };
        cairo_set_source_rgba(m_cairo, part(16), part(8), part(0), alpha);
    }
    // From the colour at (x0, y0) to that at (x1, y1).
    void Gradient(double x0, double y0, double x1, double y1,
                  std::initializer_list<std::pair<double, int>> stops) {
        Set(cairo_pattern_create_linear(x0, y0, x1, y1), stops);
    }
    // Light that fades from the middle outwards.
    void Glow(double x, double y, double radius, int rgb, double alpha) {
        cairo_pattern_t* const pattern = cairo_pattern_create_radial(x, y, 0, x, y, radius);
        const auto part = [rgb](int shift) { return ((rgb >> shift) & 255) / 255.0; };
        cairo_pattern_add_color_stop_rgba(pattern, 0, part(16), part(8), part(0), alpha);
        cairo_pattern_add_color_stop_rgba(pattern, 1, part(16), part(8), part(0), 0);
        cairo_set_source(m_cairo, pattern);
        cairo_pattern_destroy(pattern);
        cairo_arc(m_cairo, x, y, radius, 0, 2 * kPi);
        cairo_fill(m_cairo);
    }

    void Rect(double x, double y, double w, double h) {
        AddRect(x, y, w, h);
        Fill();
    }
    void RoundRect(double x, double y, double w, double h, double r) {
        cairo_new_sub_path(m_cairo);
        cairo_arc(m_cairo, x + w - r, y + r, r, -kPi / 2, 0);
        cairo_arc(m_cairo, x + w - r, y + h - r, r, 0, kPi / 2);
        cairo_arc(m_cairo, x + r, y + h - r, r, kPi / 2, kPi);
        cairo_arc(m_cairo, x + r, y + r, r, kPi, 3 * kPi / 2);
        cairo_close_path(m_cairo);
        Fill();
    }
    void Circle(double x, double y, double r) {
        AddCircle(x, y, r);
        Fill();
    }
    void Ellipse(double x, double y, double rx, double ry) {
        AddEllipse(x, y, rx, ry);
        Fill();
    }
    void Poly(std::initializer_list<std::pair<double, double>> points) {
        cairo_new_sub_path(m_cairo);
        for (const auto& [x, y] : points) {
            cairo_line_to(m_cairo, x, y);
        }
        cairo_close_path(m_cairo);
        Fill();
    }
    void Line(double x0, double y0, double x1, double y1, double width) {
        cairo_move_to(m_cairo, x0, y0);
        cairo_line_to(m_cairo, x1, y1);
        cairo_set_line_width(m_cairo, width);
        cairo_stroke(m_cairo);
    }
    void Curve(double x0, double y0, double x1, double y1, double x2, double y2, double width) {
        cairo_move_to(m_cairo, x0, y0);
        cairo_curve_to(m_cairo, x1, y1, x1, y1, x2, y2);
        cairo_set_line_width(m_cairo, width);
        cairo_stroke(m_cairo);
    }
    // Several of these make one shape that one Fill paints.
    void AddRect(double x, double y, double w, double h) { cairo_rectangle(m_cairo, x, y, w, h); }
    void AddCircle(double x, double y, double r) {
        cairo_new_sub_path(m_cairo);
        cairo_arc(m_cairo, x, y, r, 0, 2 * kPi);
    }
    void AddEllipse(double x, double y, double rx, double ry) {
        cairo_save(m_cairo);
        cairo_translate(m_cairo, x, y);
        cairo_scale(m_cairo, rx, ry);
        AddCircle(0, 0, 1);
        cairo_restore(m_cairo);
    }
    void Fill() { cairo_fill(m_cairo); }

    void Push(double x, double y, double scaleX = 1, double scaleY = 1, double angle = 0) {
        cairo_save(m_cairo);
        cairo_translate(m_cairo, x, y);
        cairo_rotate(m_cairo, angle);
        cairo_scale(m_cairo, scaleX, scaleY);
    }
    void Pop() { cairo_restore(m_cairo); }

    cairo_t* Cairo() { return m_cairo; }

private:
    void Set(cairo_pattern_t* pattern, std::initializer_list<std::pair<double, int>> stops) {
        for (const auto& [at, rgb] : stops) {
            const auto part = [c = rgb](int shift) { return ((c >> shift) & 255) / 255.0; };
            cairo_pattern_add_color_stop_rgb(pattern, at, part(16), part(8), part(0));
        }
        cairo_set_source(m_cairo, pattern);
        cairo_pattern_destroy(pattern);
    }

    cairo_t* const m_cairo;
    double m_left = 0;
    double m_top = 0;
    double m_right = 0;
    double m_bottom = 0;
};

}  // namespace kvrecorder
