#include "app/x11_connection.h"

#include <QtGui/QGuiApplication>

namespace kvmon {

xcb_connection_t* X11Connection() {
    const auto* const x11 =
        qGuiApp != nullptr ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 != nullptr ? x11->connection() : nullptr;
}

}  // namespace kvmon
