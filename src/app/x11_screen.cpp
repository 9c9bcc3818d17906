#include "app/x11_screen.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <xcb/shm.h>
#include <xcb/xcbext.h>

#include <QtCore/QAbstractNativeEventFilter>
#include <QtCore/QEvent>
#include <QtCore/QPointer>
#include <QtCore/QThread>
#include <QtGui/QGuiApplication>
#include <QtGui/QWindow>
#include <QtWidgets/QWidget>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "app/x11_connection.h"
#include "app/x11_images.h"

namespace kvmon {

namespace {

constexpr std::uint8_t kDepth = 24;
constexpr std::uint8_t kBitsPerPixel = 32;
constexpr int kTrialBytes = 4;
constexpr std::uint32_t kRedMask = 0xFF0000;
constexpr std::uint32_t kGreenMask = 0xFF00;
constexpr std::uint32_t kBlueMask = 0xFF;
constexpr double kWholePixel = 0.01;

// A child of the same window that lies over the rectangle, which is in the parent's units.
bool Covers(const QObject& child, const QRect& rect) {
    if (!child.isWidgetType()) {
        return false;
    }
    const auto& widget = static_cast<const QWidget&>(child);
    return !widget.isWindow() && !widget.isHidden() && widget.geometry().intersects(rect);
}

// Whether the widget, in a window of the display's, is there in full with nothing over it.
bool IsUncovered(const QWidget& widget, const QWidget& window) {
    QRect rect = widget.rect();
    for (const QObject* const child : widget.children()) {
        if (Covers(*child, rect)) {
            return false;
        }
    }
    for (const QWidget* at = &widget; at != &window; at = at->parentWidget()) {
        const QWidget* const parent = at->parentWidget();
        rect.translate(at->pos());
        if (!parent->rect().contains(rect)) {
            return false;
        }
        // The later a child, the higher it lies.
        const QObjectList& children = parent->children();
        for (auto child = children.rbegin(); *child != at; ++child) {
            if (Covers(**child, rect)) {
                return false;
            }
        }
    }
    return true;
}

std::optional<QPoint> WholePixels(const QPointF& point) {
    const QPoint whole(qRound(point.x()), qRound(point.y()));
    const bool bWhole =
        std::abs(point.x() - whole.x()) < kWholePixel && std::abs(point.y() - whole.y()) < kWholePixel;
    return bWhole ? std::optional(whole) : std::nullopt;
}

class X11Screen final : public QObject, public QAbstractNativeEventFilter, public DirectScreen {
public:
    X11Screen(xcb_connection_t* connection, const xcb_screen_t& screen)
        : m_connection(connection),
          m_root(screen.root),
          m_visual(screen.root_visual),
          m_context(xcb_generate_id(connection)),
          m_images(std::make_shared<X11Images>(connection)) {
        xcb_create_gc(m_connection, m_context, m_root, 0, nullptr);
        qGuiApp->installNativeEventFilter(this);
    }
    ~X11Screen() override {
        qGuiApp->removeNativeEventFilter(this);
        m_images->Close();
        if (m_lastRound) {
            xcb_discard_reply(m_connection, m_lastRound->sequence);
        }
        xcb_free_gc(m_connection, m_context);
    }
    X11Screen(const X11Screen&) = delete;
    X11Screen& operator=(const X11Screen&) = delete;

    std::function<QImage(int, int)> ImageMaker() override {
        return [images = m_images](int width, int height) { return images->Make(width, height); };
    }
    bool Put(QWidget& widget, const QImage& image) override;
    void Flush() override;
    bool IsRead() override;

    bool eventFilter(QObject* watched, QEvent* event) override;
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    struct Known {
        bool bUsual = false;                     // as deep as the images, with the same colours
        std::vector<QPointer<QWidget>> widgets;  // that were put into it
    };

    void PaintAll(const Known& known);
    Known* Know(QWindow& window);
    bool IsUsual(xcb_window_t id) const;

    xcb_connection_t* const m_connection;
    const xcb_window_t m_root;
    const xcb_visualid_t m_visual;
    const xcb_gcontext_t m_context;
    const std::shared_ptr<X11Images> m_images;
    std::unordered_map<QObject*, Known> m_windows;
    bool m_bRefused = false;
    bool m_bSomethingPut = false;
    std::optional<xcb_get_input_focus_cookie_t> m_lastRound;  // is answered when all before it was read
};

bool X11Screen::IsUsual(xcb_window_t id) const {
    const auto attributes = xcb_get_window_attributes(m_connection, id);
    const auto geometry = xcb_get_geometry(m_connection, id);
    const X11Reply<xcb_get_window_attributes_reply_t> visual(
        xcb_get_window_attributes_reply(m_connection, attributes, nullptr));
    const X11Reply<xcb_get_geometry_reply_t> depth(xcb_get_geometry_reply(m_connection, geometry, nullptr));
    return visual != nullptr && depth != nullptr && visual->visual == m_visual && depth->depth == kDepth &&
           depth->root == m_root;
}

// Null for one that only the user interface's thread can get to know.
X11Screen::Known* X11Screen::Know(QWindow& window) {
    const auto found = m_windows.find(&window);
    if (found != m_windows.end()) {
        return &found->second;
    }
    if (QThread::currentThread() != thread()) {
        return nullptr;
    }
    window.installEventFilter(this);
    connect(&window, &QObject::destroyed, this, [this](QObject* gone) { m_windows.erase(gone); });
    Known& known = m_windows[&window];
    known.bUsual = IsUsual(static_cast<xcb_window_t>(window.winId()));
    return &known;
}

bool X11Screen::Put(QWidget& widget, const QImage& image) {
    QWidget* const native = widget.internalWinId() != 0 ? &widget : widget.nativeParentWidget();
    QWindow* const window = native != nullptr ? native->windowHandle() : nullptr;
    if (window == nullptr || window->handle() == nullptr || !window->isExposed() || !widget.isVisible()) {
        return false;
    }
    const double ratio = widget.devicePixelRatioF();
    const QSize size(qRound(widget.width() * ratio), qRound(widget.height() * ratio));
    const auto place = WholePixels(QPointF(widget.mapTo(native, QPoint(0, 0))) * ratio);
    if (m_bRefused || !place || image.size() != size || !IsUncovered(widget, *native)) {
        return false;
    }
    Known* const known = Know(*window);
    const xcb_shm_seg_t segment = known != nullptr && known->bUsual ? m_images->IdOf(image) : XCB_NONE;
    if (segment == XCB_NONE) {
        return false;
    }
    const auto width = static_cast<std::uint16_t>(size.width());
    const auto height = static_cast<std::uint16_t>(size.height());
    xcb_shm_put_image(m_connection, static_cast<xcb_window_t>(window->winId()), m_context, width, height, 0,
                      0, width, height, static_cast<std::int16_t>(place->x()),
                      static_cast<std::int16_t>(place->y()), kDepth, XCB_IMAGE_FORMAT_Z_PIXMAP, 0, segment,
                      0);
    m_bSomethingPut = true;
    if (std::find(known->widgets.begin(), known->widgets.end(), &widget) == known->widgets.end()) {
        std::erase_if(known->widgets, [](const auto& one) { return one.isNull(); });
        known->widgets.emplace_back(&widget);
    }
    return true;
}

void X11Screen::Flush() {
    if (std::exchange(m_bSomethingPut, false)) {
        m_lastRound = xcb_get_input_focus(m_connection);
        xcb_flush(m_connection);
    }
}

bool X11Screen::IsRead() {
    if (m_lastRound) {
        void* reply = nullptr;
        xcb_generic_error_t* error = nullptr;
        if (xcb_poll_for_reply(m_connection, m_lastRound->sequence, &reply, &error) == 0) {
            return false;
        }
        std::free(reply);
        std::free(error);
        m_lastRound.reset();
    }
    return true;
}

void X11Screen::PaintAll(const Known& known) {
    for (const auto& widget : known.widgets) {
        if (widget) {
            widget->update();
        }
    }
}

// A display that has no room for one more image will have none for the next: from then on all is painted.
bool X11Screen::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
    const auto& error = *static_cast<const xcb_generic_error_t*>(message);
    const auto* const extension = xcb_get_extension_data(m_connection, &xcb_shm_id);
    if (type != "xcb_generic_event_t" || error.response_type != 0 ||
        error.major_code != extension->major_opcode) {
        return false;
    }
    m_bRefused = true;
    for (const auto& window : m_windows) {
        PaintAll(window.second);
    }
    return true;
}

// What lay over a window and is gone: the toolkit shows its own copy of the window then, which knows of no
// picture that was put. So it paints those again first.
bool X11Screen::eventFilter(QObject* watched, QEvent* event) {
    const auto found = m_windows.find(watched);
    if (found == m_windows.end()) {
        return false;
    }
    if (event->type() == QEvent::Expose) {
        PaintAll(found->second);
    } else if (event->type() == QEvent::PlatformSurface) {
        watched->removeEventFilter(this);
        disconnect(watched, nullptr, this, nullptr);
        m_windows.erase(found);
    }
    return false;
}

// --- is there such a way?

bool IsLocal(xcb_connection_t* connection) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    return ::getsockname(xcb_get_file_descriptor(connection), reinterpret_cast<sockaddr*>(&address),
                         &length) == 0 &&
           address.ss_family == AF_UNIX;
}

bool HasUsualPixels(const xcb_setup_t& setup) {
    for (auto format = xcb_setup_pixmap_formats_iterator(&setup); format.rem > 0; xcb_format_next(&format)) {
        if (format.data->depth == kDepth) {
            return format.data->bits_per_pixel == kBitsPerPixel &&
                   setup.image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST && Q_BYTE_ORDER == Q_LITTLE_ENDIAN;
        }
    }
    return false;
}

bool HasUsualColours(const xcb_screen_t& screen) {
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0; xcb_depth_next(&depth)) {
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
             xcb_visualtype_next(&visual)) {
            if (visual.data->visual_id == screen.root_visual) {
                return screen.root_depth == kDepth && visual.data->red_mask == kRedMask &&
                       visual.data->green_mask == kGreenMask && visual.data->blue_mask == kBlueMask;
            }
        }
    }
    return false;
}

// Files can be handed over since 1.2.
bool TakesFiles(xcb_connection_t* connection) {
    const auto* const extension = xcb_get_extension_data(connection, &xcb_shm_id);
    if (extension == nullptr || extension->present == 0) {
        return false;
    }
    const X11Reply<xcb_shm_query_version_reply_t> version(
        xcb_shm_query_version_reply(connection, xcb_shm_query_version(connection), nullptr));
    return version != nullptr && std::pair(version->major_version, version->minor_version) >=
                                     std::pair<std::uint16_t, std::uint16_t>(1, 2);
}

// One that is tried: a server in a box of its own may refuse.
bool TakesMemory(xcb_connection_t* connection) {
    const int file = ::memfd_create("kvmon-trial", MFD_CLOEXEC);
    if (file < 0 || ::posix_fallocate(file, 0, kTrialBytes) != 0) {
        if (file >= 0) {
            ::close(file);
        }
        return false;
    }
    const xcb_shm_seg_t id = xcb_generate_id(connection);
    const X11Reply<xcb_generic_error_t> refused(
        xcb_request_check(connection, xcb_shm_attach_fd_checked(connection, id, file, 1)));
    if (refused != nullptr) {
        return false;
    }
    xcb_shm_detach(connection, id);
    return true;
}

}  // namespace

std::unique_ptr<DirectScreen> OpenX11Screen() {
    xcb_connection_t* const connection = X11Connection();
    if (connection == nullptr || qEnvironmentVariableIsSet("QT_XCB_NO_MITSHM") || !IsLocal(connection)) {
        return nullptr;
    }
    const xcb_setup_t& setup = *xcb_get_setup(connection);
    const xcb_screen_t& screen = *xcb_setup_roots_iterator(&setup).data;
    if (!HasUsualPixels(setup) || !HasUsualColours(screen) || !TakesFiles(connection) ||
        !TakesMemory(connection)) {
        return nullptr;
    }
    return std::make_unique<X11Screen>(connection, screen);
}

}  // namespace kvmon
