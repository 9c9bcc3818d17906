// The toolkit's word is a name in that library.
#pragma push_macro("signals")
#undef signals
#include <gio/gio.h>
#pragma pop_macro("signals")

#include <QtGui/QGuiApplication>
#include <QtGui/QPalette>

#include <atomic>
#include <cstring>

#include "app/desktop_preference.h"
#include "app/session_bus.h"
#include "persist/log_file.h"
#include "platform/worker.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kMsgAppearance = 1102;  // wParam color-scheme, lParam contrast
constexpr int kAnswerMs = 5000;
constexpr Milliseconds kEnd{300};

constexpr const char* kPortal = "org.freedesktop.portal.Desktop";
constexpr const char* kPath = "/org/freedesktop/portal/desktop";
constexpr const char* kSettings = "org.freedesktop.portal.Settings";
constexpr const char* kAppearance = "org.freedesktop.appearance";
constexpr const char* kColorScheme = "color-scheme";
constexpr const char* kContrast = "contrast";

// What the thread and the window share.
struct Watch {
    GMainContext* const context = g_main_context_new();
    GCancellable* const cancel = g_cancellable_new();
    std::atomic<bool> bEnd = false;

    Watch() = default;
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() {
        g_object_unref(cancel);
        g_main_context_unref(context);
    }
};

// The thread's own.
struct Appearance {
    WindowHandle receiver;
    std::uint32_t colorScheme = 0;
    std::uint32_t contrast = 0;

    void Post() const { receiver.Post(kMsgAppearance, colorScheme, static_cast<LParam>(contrast)); }
    void Take(const char* key, GVariant* value) {
        // One portal wraps it once, another twice.
        GVariant* inner = g_variant_ref(value);
        while (g_variant_is_of_type(inner, G_VARIANT_TYPE_VARIANT) != FALSE) {
            GVariant* const next = g_variant_get_variant(inner);
            g_variant_unref(inner);
            inner = next;
        }
        if (g_variant_is_of_type(inner, G_VARIANT_TYPE_UINT32) != FALSE) {
            (std::strcmp(key, kContrast) == 0 ? contrast : colorScheme) = g_variant_get_uint32(inner);
        }
        g_variant_unref(inner);
    }
};

void OnChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* told,
               gpointer data) {
    if (g_variant_is_of_type(told, G_VARIANT_TYPE("(ssv)")) == FALSE) {
        return;
    }
    const gchar* space = nullptr;
    const gchar* key = nullptr;
    GVariant* value = nullptr;
    g_variant_get(told, "(&s&sv)", &space, &key, &value);
    const bool bOurs = std::strcmp(key, kColorScheme) == 0 || std::strcmp(key, kContrast) == 0;
    if (std::strcmp(space, kAppearance) == 0 && bOurs) {
        auto& appearance = *static_cast<Appearance*>(data);
        appearance.Take(key, value);
        appearance.Post();
    }
    g_variant_unref(value);
}

// False without an answer. A desktop without this setting answers with an error, which is one.
bool ReadPreference(GDBusConnection* bus, const Watch& watch, const char* key, Appearance& appearance) {
    GError* error = nullptr;
    GVariant* const answer = g_dbus_connection_call_sync(
        bus, kPortal, kPath, kSettings, "Read", g_variant_new("(ss)", kAppearance, key),
        G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE, kAnswerMs, watch.cancel, &error);
    if (answer == nullptr) {
        const bool bNoPortal = error->domain == G_DBUS_ERROR && error->code == G_DBUS_ERROR_SERVICE_UNKNOWN;
        const bool bCancelled = error->domain == G_IO_ERROR && error->code == G_IO_ERROR_CANCELLED;
        g_error_free(error);
        return !bNoPortal && !bCancelled;
    }
    GVariant* const value = g_variant_get_child_value(answer, 0);
    appearance.Take(key, value);
    g_variant_unref(value);
    g_variant_unref(answer);
    return true;
}

void ServePreference(const Watch& watch, const WindowHandle& receiver) {
    const auto bus = HoldSessionBus(watch.cancel);
    if (!bus) {
        return;
    }
    g_main_context_push_thread_default(watch.context);
    Appearance appearance{receiver};
    // First the signal, so that no change falls between.
    const guint signal = g_dbus_connection_signal_subscribe(bus.get(), kPortal, kSettings, "SettingChanged",
                                                            kPath, kAppearance, G_DBUS_SIGNAL_FLAGS_NONE,
                                                            OnChanged, &appearance, nullptr);
    if (ReadPreference(bus.get(), watch, kColorScheme, appearance) &&
        ReadPreference(bus.get(), watch, kContrast, appearance)) {
        appearance.Post();
    }
    while (!watch.bEnd) {
        g_main_context_iteration(watch.context, TRUE);
    }
    g_dbus_connection_signal_unsubscribe(bus.get(), signal);
    // What was on its way to the handler goes with it.
    while (g_main_context_iteration(watch.context, FALSE) != FALSE) {
    }
    g_main_context_pop_thread_default(watch.context);
}

class PortalWatch final : public WindowBase, public DesktopPreference {
public:
    explicit PortalWatch(std::function<void(std::optional<SkinLook>)> told) : m_told(std::move(told)) {
        // Without one the library would start a session bus of its own.
        if (HasSessionBus()) {
            m_thread.Start("appearance",
                           [watch = m_watch, receiver = Handle()] { ServePreference(*watch, receiver); });
        }
    }
    ~PortalWatch() override {
        m_watch->bEnd = true;
        g_cancellable_cancel(m_watch->cancel);
        g_main_context_wakeup(m_watch->context);
        m_thread.Wait(kEnd);
    }

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override {
        if (message != kMsgAppearance) {
            return WindowBase::OnMessage(message, wParam, lParam);
        }
        m_told(LookOfAppearance(static_cast<unsigned>(wParam), static_cast<unsigned>(lParam)));
        return 0;
    }

private:
    const std::function<void(std::optional<SkinLook>)> m_told;
    const std::shared_ptr<Watch> m_watch = std::make_shared<Watch>();
    Worker m_thread;
};

}  // namespace

std::optional<SkinLook> LookOfAppearance(unsigned colorScheme, unsigned contrast) {
    if (contrast == 1) {
        return SkinLook::HighContrast;
    }
    return colorScheme == 1   ? std::optional(SkinLook::Dark)
           : colorScheme == 2 ? std::optional(SkinLook::Light)
                              : std::nullopt;
}

std::optional<SkinLook> LookOfToolkit() {
    // The style's colours, and over them those that the desktop gave.
    const QPalette colours = QGuiApplication::palette();
    // The toolkit has one of its own where no desktop gives it any, which is nobody's wish.
    constexpr QColor kToolkits(239, 239, 239);
    if (colours.color(QPalette::Window) == kToolkits) {
        return std::nullopt;
    }
    const int ground = colours.color(QPalette::Window).lightness();
    return ground < colours.color(QPalette::WindowText).lightness() ? SkinLook::Dark : SkinLook::Light;
}

std::unique_ptr<DesktopPreference> WatchDesktopPreference(std::function<void(std::optional<SkinLook>)> told) {
    return std::make_unique<PortalWatch>(std::move(told));
}

}  // namespace kvmon
