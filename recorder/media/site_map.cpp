#include "media/site_map.h"

#include <libyuv.h>

#include <array>
#include <memory>

#include "media/paint.h"
#include "media/picture_encoder.h"
#include "media/utf8.h"

namespace kvrecorder {
namespace {

constexpr int kWidth = 800;
constexpr int kHeight = 560;
constexpr std::size_t kLongestName = 18;
constexpr int kMostNamed = 24;  // more names would run into each other

struct Place {
    double x;
    double y;
    double angle;  // into which it looks
};

// Around the fence first, then inside along the corridors.
Place PlaceOf(int i, int count) {
    constexpr double kMargin = 46;
    const double w = kWidth - 2 * kMargin;
    const double h = kHeight - 2 * kMargin;
    double at = (i + 0.5) / count * 2 * (w + h);
    if (at < w) {
        return {kMargin + at, kMargin, kPi / 2};
    }
    at -= w;
    if (at < h) {
        return {kMargin + w, kMargin + at, kPi};
    }
    at -= h;
    if (at < w) {
        return {kMargin + w - at, kMargin + h, -kPi / 2};
    }
    return {kMargin, kMargin + h - (at - w), 0};
}

void PaintGround(Painter& painter) {
    painter.Color(0xDDE7D4);
    painter.Rect(0, 0, kWidth, kHeight);
    painter.Color(0xB9C9AE);
    for (int i = 0; i < 60; ++i) {
        painter.AddCircle(Noise(i) * kWidth, Noise(i + 100) * kHeight, 5 + Noise(i + 200) * 9);
    }
    painter.Fill();
    painter.Color(0xC9CCD1);
    painter.Rect(0, 250, kWidth, 54);
    painter.Rect(96, 84, 52, kHeight - 168);
    painter.Color(0xFFFFFF);
    for (int x = 8; x < kWidth; x += 44) {
        painter.AddRect(x, 275, 22, 3);
    }
    painter.Fill();
    painter.Color(0xF4F1EA);
    painter.Rect(200, 110, 300, 140);
    painter.Rect(540, 110, 170, 140);
    painter.Rect(200, 304, 510, 160);
    painter.Color(0x5B6470);
    const auto frame = [&](double x, double y, double w, double h) {
        painter.AddRect(x, y, w, 4);
        painter.AddRect(x, y + h - 4, w, 4);
        painter.AddRect(x, y, 4, h);
        painter.AddRect(x + w - 4, y, 4, h);
    };
    frame(200, 110, 300, 140);
    frame(540, 110, 170, 140);
    frame(200, 304, 510, 160);
    for (const double x : {300.0, 400.0}) {
        painter.AddRect(x, 110, 3, 96);
    }
    for (const double x : {330.0, 460.0, 590.0}) {
        painter.AddRect(x, 350, 3, 114);
    }
    painter.Fill();
}

void PaintCamera(Painter& painter, const Place& place) {
    painter.Push(place.x, place.y, 1, 1, place.angle);
    cairo_t* const cairo = painter.Cairo();
    painter.Color(0x2F7DD1, 0.22);
    cairo_move_to(cairo, 0, 0);
    cairo_arc(cairo, 0, 0, 58, -kPi / 6, kPi / 6);
    cairo_close_path(cairo);
    cairo_fill(cairo);
    painter.Pop();
    painter.Color(0x1F4E82);
    painter.AddCircle(place.x, place.y, 13);
    painter.Fill();
}

void PaintText(cairo_t* cairo, const std::string& text, double x, double y) {
    cairo_text_extents_t size;
    cairo_text_extents(cairo, text.c_str(), &size);
    cairo_move_to(cairo, x - size.x_advance / 2, y);
    cairo_show_text(cairo, text.c_str());
    cairo_new_path(cairo);
}

void PaintCameras(Painter& painter, const std::vector<std::string>& names) {
    cairo_t* const cairo = painter.Cairo();
    cairo_select_font_face(cairo, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    const int count = static_cast<int>(names.size());
    for (int i = 0; i < count; ++i) {
        const std::string& name = names[static_cast<std::size_t>(i)];
        if (name.empty()) {
            continue;
        }
        const Place place = PlaceOf(i, count);
        PaintCamera(painter, place);
        cairo_set_font_size(cairo, 13);
        painter.Color(0xFFFFFF);
        PaintText(cairo, std::to_string(i + 1), place.x, place.y + 4.5);
        if (count <= kMostNamed) {
            cairo_set_font_size(cairo, 11);
            painter.Color(0x20303F);
            PaintText(cairo, PrintableUtf8(name, kLongestName), place.x, place.y + 28);
        }
    }
}

struct SurfaceFree {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
};

}  // namespace

std::vector<std::uint8_t> DrawSiteMap(const std::vector<std::string>& names) {
    const std::unique_ptr<cairo_surface_t, SurfaceFree> surface(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, kHeight));
    const std::unique_ptr<cairo_t, SurfaceFree> cairo(cairo_create(surface.get()));
    if (cairo_status(cairo.get()) != CAIRO_STATUS_SUCCESS) {
        return {};
    }
    Painter painter(cairo.get());
    PaintGround(painter);
    PaintCameras(painter, names);
    cairo_surface_flush(surface.get());
    StreamConfig stream;
    stream.codec = Codec::Mjpeg;
    stream.width = kWidth;
    stream.height = kHeight;
    stream.fps = 1;
    stream.gop = 1;
    PictureEncoder encoder(stream);
    AVFrame* const frame = encoder.Picture();
    if (!frame || libyuv::ARGBToJ420(cairo_image_surface_get_data(surface.get()),
                                     cairo_image_surface_get_stride(surface.get()), frame->data[0],
                                     frame->linesize[0], frame->data[1], frame->linesize[1], frame->data[2],
                                     frame->linesize[2], kWidth, kHeight) != 0) {
        return {};
    }
    const PacketPtr packet = encoder.Encode(0, 0);
    return packet ? packet->data : std::vector<std::uint8_t>{};
}

}  // namespace kvrecorder
