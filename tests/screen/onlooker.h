// Another program's view of the display.
#pragma once

#include <xcb/xcb.h>

#include <QtCore/QPoint>
#include <QtGui/QColor>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace kvtest {

class Onlooker {
public:
    Onlooker() : m_connection(xcb_connect(nullptr, nullptr)) {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    }
    ~Onlooker() { xcb_disconnect(m_connection); }
    Onlooker(const Onlooker&) = delete;
    Onlooker& operator=(const Onlooker&) = delete;

    QRgb ColourAt(const QPoint& point) const {
        const auto cookie = xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root,
                                          static_cast<std::int16_t>(point.x()),
                                          static_cast<std::int16_t>(point.y()), 1, 1, ~0u);
        struct Freed {
            void operator()(void* reply) const { std::free(reply); }
        };
        const std::unique_ptr<xcb_get_image_reply_t, Freed> reply(
            xcb_get_image_reply(m_connection, cookie, nullptr));
        QRgb colour = 0;
        if (reply != nullptr && xcb_get_image_data_length(reply.get()) >= 4) {
            std::memcpy(&colour, xcb_get_image_data(reply.get()), sizeof colour);
        }
        return colour | 0xFF000000;
    }
    // A window over all others, as another program's.
    void Cover() {
        const std::uint32_t blackAndOrdinary[] = {0, 1};
        m_cover = xcb_generate_id(m_connection);
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_cover, m_root, 0, 0, 400, 300, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, blackAndOrdinary);
        xcb_map_window(m_connection, m_cover);
        Settle();
    }
    void Uncover() {
        xcb_destroy_window(m_connection, m_cover);
        Settle();
    }

private:
    // All that was asked for is done.
    void Settle() const {
        std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }

    xcb_connection_t* const m_connection;
    xcb_window_t m_root = 0;
    xcb_window_t m_cover = 0;
};

}  // namespace kvtest
