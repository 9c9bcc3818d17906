// The toolkit's word is a name in that library.
#pragma push_macro("signals")
#undef signals
#include <gio/gio.h>
#pragma pop_macro("signals")

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

#include "app/session_bus.h"
#include "app/stay_awake.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr int kCallMs = 5000;
constexpr std::chrono::seconds kLookAgain{60};
constexpr Milliseconds kWakeEnd{300};
constexpr const char* kReason = "Live pictures of cameras";
constexpr guint32 kIdle = 8;  // of the portal's flags

// Who was asked, and how it is told that all is over.
struct Held {
    std::string owner;  // of the bus: another one knows nothing of it
    std::string service;
    guint32 cookie = 0;
    std::string request;  // of the portal
};

struct Service {
    const char* name;
    const char* path;
    const char* interface;
};
constexpr Service kSaver{"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
                         "org.freedesktop.ScreenSaver"};
constexpr Service kPortalService{"org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                                 "org.freedesktop.portal.Inhibit"};

using Bus = std::unique_ptr<GDBusConnection, decltype(&g_object_unref)>;

// A connection of its own: when it ends, with the program or with the bus, the services know that all is
// over.
Bus Connect(GCancellable* cancel) {
    GDBusConnection* bus = nullptr;
    gchar* const address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, cancel, nullptr);
    if (address != nullptr) {
        constexpr auto kFlags = static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
        bus = g_dbus_connection_new_for_address_sync(address, kFlags, nullptr, cancel, nullptr);
        g_free(address);
    }
    return {bus, g_object_unref};
}

using Answer = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

Answer Call(GDBusConnection& bus, GCancellable* cancel, const Service& service, const char* method,
            GVariant* arguments, const char* answer) {
    GError* error = nullptr;
    GVariant* const got =
        g_dbus_connection_call_sync(&bus, service.name, service.path, service.interface, method, arguments,
                                    answer != nullptr ? G_VARIANT_TYPE(answer) : nullptr,
                                    G_DBUS_CALL_FLAGS_NONE, kCallMs, cancel, &error);
    if (error != nullptr) {
        Trace("StayAwake: %s failed, %s...\n", method, error->message);
        g_error_free(error);
    }
    return {got, g_variant_unref};
}

std::string OwnerOf(GDBusConnection& bus, GCancellable* cancel, const std::string& name) {
    constexpr Service kBus{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus"};
    const Answer answer = Call(bus, cancel, kBus, "GetNameOwner", g_variant_new("(s)", name.c_str()), "(s)");
    const char* owner = "";
    if (answer) {
        g_variant_get(answer.get(), "(&s)", &owner);
    }
    return owner;
}

std::optional<Held> Inhibit(GDBusConnection& bus, GCancellable* cancel) {
    Held held;
    if (const Answer answer =
            Call(bus, cancel, kSaver, "Inhibit", g_variant_new("(ss)", "kvmon", kReason), "(u)")) {
        g_variant_get(answer.get(), "(u)", &held.cookie);
        held.service = kSaver.name;
        held.owner = OwnerOf(bus, cancel, held.service);
        return held;
    }
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&options, "{sv}", "reason", g_variant_new_string(kReason));
    if (const Answer answer = Call(bus, cancel, kPortalService, "Inhibit",
                                   g_variant_new("(sua{sv})", "", kIdle, &options), "(o)")) {
        const char* request = nullptr;
        g_variant_get(answer.get(), "(&o)", &request);
        held.request = request;
        held.service = kPortalService.name;
        held.owner = OwnerOf(bus, cancel, held.service);
        return held;
    }
    return std::nullopt;
}

void Release(GDBusConnection& bus, GCancellable* cancel, const Held& held) {
    if (held.request.empty()) {
        Call(bus, cancel, kSaver, "UnInhibit", g_variant_new("(u)", held.cookie), nullptr);
    } else {
        const Service request{kPortalService.name, held.request.c_str(), "org.freedesktop.portal.Request"};
        Call(bus, cancel, request, "Close", nullptr, nullptr);
    }
}

}  // namespace

// What the thread and the window share.
struct StayAwake::Wish {
    std::mutex lock;
    std::condition_variable changed;
    bool bOn = false;
    bool bEnd = false;
    std::shared_ptr<GCancellable> cancel{g_cancellable_new(), g_object_unref};

    void Serve() {
        Bus bus(nullptr, g_object_unref);
        std::optional<Held> held;
        std::unique_lock guard(lock);
        while (!bEnd) {
            const bool bWanted = bOn;
            guard.unlock();
            if (!bus || g_dbus_connection_is_closed(bus.get()) != FALSE) {
                held.reset();
                bus = Connect(cancel.get());
            }
            if (held && (!bWanted || OwnerOf(*bus, cancel.get(), held->service) != held->owner)) {
                if (!bWanted) {
                    Release(*bus, cancel.get(), *held);
                }
                held.reset();
            }
            if (bWanted && !held && bus) {
                held = Inhibit(*bus, cancel.get());
            }
            guard.lock();
            const auto isChanged = [&] { return bEnd || bOn != bWanted; };
            if (bWanted) {
                changed.wait_for(guard, kLookAgain, isChanged);
            } else {
                changed.wait(guard, isChanged);
            }
        }
        guard.unlock();
        if (held) {
            Release(*bus, cancel.get(), *held);
        }
    }
};

StayAwake::StayAwake() : m_wish(std::make_shared<Wish>()) {}

StayAwake::~StayAwake() {
    {
        const std::lock_guard guard(m_wish->lock);
        m_wish->bEnd = true;
    }
    m_wish->changed.notify_one();
    m_thread.Wait(kWakeEnd);
    g_cancellable_cancel(m_wish->cancel.get());  // what hangs now
}

void StayAwake::Set(bool on) {
    {
        const std::lock_guard guard(m_wish->lock);
        if (m_wish->bOn == on) {
            return;
        }
        m_wish->bOn = on;
    }
    m_wish->changed.notify_one();
    if (on && !m_thread.IsHeld() && HasSessionBus()) {
        m_thread.Start("stayawake", [wish = m_wish] { wish->Serve(); });
    }
}

}  // namespace kvmon
