#include "media/scene_renderer.h"

#include <cairo.h>
#include <libyuv.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "media/paint.h"
#include "media/utf8.h"

namespace kvrecorder {
namespace {

struct CairoFree {
    void operator()(cairo_t* p) const { cairo_destroy(p); }
    void operator()(cairo_surface_t* p) const { cairo_surface_destroy(p); }
};
template <typename T>
using CairoPtr = std::unique_ptr<T, CairoFree>;

// Channels with the same scene are at different moments of it.
constexpr double kChannelOffset = 37.7;
constexpr std::size_t kLongestCaption = 64;  // characters
// Sizes that are remembered; a channel has few streams.
constexpr std::size_t kMostCanvases = 8;
// Rows that a picture wholly out of focus has left.
constexpr double kStrongestBlur = 16;

CairoPtr<cairo_surface_t> NewSurface(int width, int height) {
    return CairoPtr<cairo_surface_t>(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
}

void ApplyView(cairo_t* cairo, int width, int height, const SceneView& view) {
    // Sizes like 352x240 are 4:3 on the screen, with pixels that are not square.
    const bool wide = width * 10 > height * 16;
    const double shownWidth = kHomeWidth / view.zoom;
    const double shownHeight = shownWidth * (wide ? 9.0 / 16 : 3.0 / 4);
    cairo_scale(cairo, width / shownWidth, height / shownHeight);
    cairo_translate(cairo, shownWidth / 2 - view.centreX, shownHeight / 2 - view.centreY);
}

std::string ClockText(std::chrono::system_clock::time_point wall) {
    using std::chrono::milliseconds;
    const auto sinceEpoch = std::chrono::floor<milliseconds>(wall.time_since_epoch());
    const auto second = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
    const std::time_t time = second.count();
    std::tm parts{};
    localtime_r(&time, &parts);
    char text[48];
    const std::size_t length = std::strftime(text, sizeof text - 2, "%Y-%m-%d %H:%M:%S.", &parts);
    text[length] = static_cast<char>('0' + (sinceEpoch - second).count() / 100);
    return std::string(text, length + 1);
}

void ShowText(cairo_t* cairo, const std::string& text, double x, double baseline) {
    cairo_move_to(cairo, x, baseline);
    cairo_show_text(cairo, text.c_str());
    // Otherwise the text's end would be the beginning of the next shape.
    cairo_new_path(cairo);
}

// Leaves out the end of a text that is wider than the room.
std::string Fitted(cairo_t* cairo, std::string text, double room) {
    cairo_text_extents_t size;
    cairo_text_extents(cairo, text.c_str(), &size);
    while (size.x_advance > room && !text.empty()) {
        DropLastCharacter(text);
        cairo_text_extents(cairo, text.c_str(), &size);
    }
    return text;
}

}  // namespace

int StripHeight(int height) {
    return std::max(10, height / 12);
}

struct SceneRenderer::Canvas {
    Canvas(int w, int h)
        : width(w),
          height(h),
          still(NewSurface(w, h)),
          picture(NewSurface(w, h)),
          cairo(cairo_create(picture.get())) {}

    int width;
    int height;
    CairoPtr<cairo_surface_t> still;
    CairoPtr<cairo_surface_t> picture;
    CairoPtr<cairo_t> cairo;
    bool stillDone = false;
    bool pictureDone = false;
    SceneView stillView;
    SceneMoment moment;
    std::vector<std::uint8_t> small;  // of a picture out of focus
};

SceneRenderer::SceneRenderer(const Scene& scene, int channel) : m_scene(scene), m_channel(channel) {}
SceneRenderer::~SceneRenderer() = default;

void SceneRenderer::Clear() {
    m_canvases.clear();
}

SceneRenderer::Canvas& SceneRenderer::CanvasFor(int width, int height) {
    for (const auto& canvas : m_canvases) {
        if (canvas->width == width && canvas->height == height) {
            return *canvas;
        }
    }
    if (m_canvases.size() >= kMostCanvases) {
        m_canvases.erase(m_canvases.begin());
    }
    return *m_canvases.emplace_back(std::make_unique<Canvas>(width, height));
}

PixelView SceneRenderer::Draw(int width, int height, const SceneMoment& moment) {
    Canvas& canvas = CanvasFor(width, height);
    if (cairo_status(canvas.cairo.get()) != CAIRO_STATUS_SUCCESS ||
        cairo_surface_status(canvas.still.get()) != CAIRO_STATUS_SUCCESS) {
        m_canvases.clear();
        return {};
    }
    if (!canvas.stillDone || canvas.stillView != moment.view) {
        const CairoPtr<cairo_t> cairo(cairo_create(canvas.still.get()));
        ApplyView(cairo.get(), width, height, moment.view);
        Painter painter(cairo.get());
        m_scene.paintStill(painter);
        cairo_surface_flush(canvas.still.get());
        canvas.stillDone = true;
        canvas.stillView = moment.view;
        canvas.pictureDone = false;
    }
    const int stride = cairo_image_surface_get_stride(canvas.picture.get());
    if (!canvas.pictureDone || canvas.moment != moment) {
        cairo_surface_flush(canvas.picture.get());
        std::memcpy(cairo_image_surface_get_data(canvas.picture.get()),
                    cairo_image_surface_get_data(canvas.still.get()),
                    static_cast<std::size_t>(stride) * static_cast<std::size_t>(height));
        cairo_surface_mark_dirty(canvas.picture.get());
        cairo_t* const cairo = canvas.cairo.get();
        cairo_save(cairo);
        // Moving shapes need not be finer than the encoders keep them.
        cairo_set_antialias(cairo, CAIRO_ANTIALIAS_FAST);
        cairo_set_tolerance(cairo, 0.4);
        ApplyView(cairo, width, height, moment.view);
        Painter painter(cairo);
        m_scene.paintMoving(painter, moment.seconds + m_channel * kChannelOffset);
        cairo_restore(cairo);
        Blur(canvas, moment.blur);
        DrawStrips(canvas, moment);
        cairo_surface_flush(canvas.picture.get());
        canvas.moment = moment;
        canvas.pictureDone = true;
    }
    return {cairo_image_surface_get_data(canvas.picture.get()), stride, width, height};
}

// A picture made small and large again has lost what is fine.
void SceneRenderer::Blur(Canvas& canvas, double blur) {
    const double factor = 1 + blur * canvas.height / kStrongestBlur;
    if (factor < 1.05) {
        return;
    }
    cairo_surface_flush(canvas.picture.get());
    std::uint8_t* const pixels = cairo_image_surface_get_data(canvas.picture.get());
    const int stride = cairo_image_surface_get_stride(canvas.picture.get());
    const int width = std::max(2, static_cast<int>(canvas.width / factor));
    const int height = std::max(2, static_cast<int>(canvas.height / factor));
    canvas.small.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    libyuv::ARGBScale(pixels, stride, canvas.width, canvas.height, canvas.small.data(), width * 4, width,
                      height, libyuv::kFilterBox);
    libyuv::ARGBScale(canvas.small.data(), width * 4, width, height, pixels, stride, canvas.width,
                      canvas.height, libyuv::kFilterBilinear);
    cairo_surface_mark_dirty(canvas.picture.get());
}

void SceneRenderer::DrawStrips(Canvas& canvas, const SceneMoment& moment) const {
    cairo_t* const cairo = canvas.cairo.get();
    const double strip = StripHeight(canvas.height);
    const double width = canvas.width;
    const double margin = strip * 0.3;
    Painter painter(cairo);
    painter.Color(0x000000, 0.55);
    painter.AddRect(0, 0, width, strip);
    painter.AddRect(0, canvas.height - strip, width, strip);
    painter.Fill();

    // Letters keep their shape where pixels are not square on the screen.
    const double stretch =
        canvas.width * 10 > canvas.height * 16 ? 1 : canvas.width / (canvas.height * 4.0 / 3);
    cairo_save(cairo);
    cairo_scale(cairo, stretch, 1);
    const double room = width / stretch;
    cairo_select_font_face(cairo, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    cairo_set_font_size(cairo, strip * 0.72);
    // The number on a bright plate, so that it is found first.
    const std::string number = std::to_string(m_channel + 1);
    cairo_text_extents_t size;
    cairo_text_extents(cairo, number.c_str(), &size);
    const double plate = size.x_advance + 2 * margin;
    painter.Color(0xFFC400);
    painter.AddRect(0, 0, plate, strip);
    painter.Fill();
    painter.Color(0x000000);
    ShowText(cairo, number, margin, strip * 0.76);
    painter.Color(0xFFFFFF);
    const std::string name =
        Fitted(cairo, PrintableUtf8(moment.name, kLongestCaption), room - plate - 2 * margin);
    ShowText(cairo, name, plate + margin, strip * 0.76);

    cairo_select_font_face(cairo, "DejaVu Sans Mono", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    const std::string clock = ClockText(moment.wall);
    cairo_text_extents(cairo, clock.c_str(), &size);
    ShowText(cairo, clock, (room - size.x_advance) / 2, canvas.height - strip * 0.24);
    cairo_restore(cairo);
}

}  // namespace kvrecorder
