#include <unistd.h>

// The toolkit's word is a name in that library.
#pragma push_macro("signals")
#undef signals
#include <gio/gio.h>
#pragma pop_macro("signals")

#include <cstdlib>
#include <string>

#include "app/session_bus.h"

namespace kvmon {

bool HasSessionBus() {
    const char* const bus = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (bus != nullptr && *bus != '\0') {
        return true;
    }
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    return folder != nullptr && ::access((std::string(folder) + "/bus").c_str(), W_OK) == 0;
}

std::shared_ptr<GDBusConnection> HoldSessionBus(GCancellable* cancel) {
    GDBusConnection* const bus = g_bus_get_sync(G_BUS_TYPE_SESSION, cancel, nullptr);
    if (bus == nullptr) {
        return nullptr;
    }
    g_dbus_connection_set_exit_on_close(bus, FALSE);
    return {bus, [](GDBusConnection* held) { g_object_unref(held); }};
}

}  // namespace kvmon
