#include "app/cover_watch.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QWindow>

#include "app/x11_connection.h"
#include "skin/sight.h"

namespace kvmon {

namespace {

constexpr std::uint8_t kSentByOthers = 0x80;

QWindow* FindWindow(xcb_window_t id) {
    for (QWindow* const window : QGuiApplication::topLevelWindows()) {
        if (window->handle() != nullptr && window->winId() == id) {
            return window;
        }
    }
    return nullptr;
}

// The toolkit does not ask for this event; what it asks for stays.
void AskForVisibility(xcb_window_t id) {
    xcb_connection_t* const connection = X11Connection();
    if (connection == nullptr) {
        return;
    }
    const X11Reply<xcb_get_window_attributes_reply_t> present(
        xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, id), nullptr));
    if (present != nullptr && (present->your_event_mask & XCB_EVENT_MASK_VISIBILITY_CHANGE) == 0) {
        const std::uint32_t mask = present->your_event_mask | XCB_EVENT_MASK_VISIBILITY_CHANGE;
        xcb_change_window_attributes(connection, id, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(connection);
    }
}

}  // namespace

CoverWatch::CoverWatch() : m_bWatches(X11Connection() != nullptr) {
    if (m_bWatches) {
        qGuiApp->installNativeEventFilter(this);
    }
}

CoverWatch::~CoverWatch() {
    if (m_bWatches && qGuiApp != nullptr) {
        qGuiApp->removeNativeEventFilter(this);
    }
}

bool CoverWatch::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
    if (type != "xcb_generic_event_t") {
        return false;
    }
    const auto* const event = static_cast<const xcb_generic_event_t*>(message);
    switch (event->response_type & ~kSentByOthers) {
        case XCB_MAP_NOTIFY:
            if (const auto id = static_cast<const xcb_map_notify_event_t*>(message)->window; FindWindow(id)) {
                AskForVisibility(id);
            }
            break;
        case XCB_VISIBILITY_NOTIFY: {
            const auto& told = *static_cast<const xcb_visibility_notify_event_t*>(message);
            if (QWindow* const window = FindWindow(told.window)) {
                window->setProperty(kCoveredWindow, told.state == XCB_VISIBILITY_FULLY_OBSCURED);
            }
            break;
        }
        default:
            break;
    }
    return false;
}

}  // namespace kvmon
