// The desktop's preference of colours, from a portal on a session bus of the test's own.
#include <gmock/gmock.h>

// The toolkit's word is a name in that library.
#pragma push_macro("signals")
#undef signals
#include <gio/gio.h>
#pragma pop_macro("signals")

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <atomic>
#include <thread>
#include <vector>

#include "app/desktop_preference.h"
#include "support/must_run.h"
#include "support/qt_pump.h"

using namespace kvmon;
using kvtest::PumpUntil;

namespace {

constexpr const char* kInterface =
    "<node><interface name='org.freedesktop.portal.Settings'>"
    "<method name='Read'><arg type='s' direction='in'/><arg type='s' direction='in'/>"
    "<arg type='v' direction='out'/></method></interface></node>";

// Answers with what it holds and tells of changes, from a thread of its own.
class Portal {
public:
    Portal(const QByteArray& address, std::uint32_t scheme, std::uint32_t contrast)
        : m_scheme(scheme), m_contrast(contrast) {
        m_thread = std::thread([this, address] { Serve(address); });
        while (!m_bReady) {
            std::this_thread::yield();
        }
    }
    ~Portal() {
        m_bEnd = true;
        g_main_context_wakeup(m_context);
        m_thread.join();
        g_main_context_unref(m_context);
    }
    Portal(const Portal&) = delete;
    Portal& operator=(const Portal&) = delete;

    void Tell(const char* space, const char* key, GVariant* value) {
        g_dbus_connection_emit_signal(m_bus, nullptr, "/org/freedesktop/portal/desktop",
                                      "org.freedesktop.portal.Settings", "SettingChanged",
                                      g_variant_new("(ssv)", space, key, value), nullptr);
    }

private:
    static void Answer(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                       GVariant* asked, GDBusMethodInvocation* call, gpointer data) {
        const auto& self = *static_cast<const Portal*>(data);
        const gchar* space = nullptr;
        const gchar* key = nullptr;
        g_variant_get(asked, "(&s&s)", &space, &key);
        if (std::string(space) != "org.freedesktop.appearance") {
            g_dbus_method_invocation_return_dbus_error(call, "org.freedesktop.portal.Error.NotFound", "none");
            return;
        }
        // As real ones do: a variant in the variant.
        GVariant* const value =
            g_variant_new_uint32(std::string(key) == "contrast" ? self.m_contrast : self.m_scheme);
        g_dbus_method_invocation_return_value(call, g_variant_new("(v)", g_variant_new_variant(value)));
    }

    void Serve(const QByteArray& address) {
        g_main_context_push_thread_default(m_context);
        m_bus = g_dbus_connection_new_for_address_sync(
            address.constData(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
        GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(kInterface, nullptr);
        const GDBusInterfaceVTable table = {Answer, nullptr, nullptr, {}};
        g_dbus_connection_register_object(m_bus, "/org/freedesktop/portal/desktop", node->interfaces[0],
                                          &table, this, nullptr, nullptr);
        GVariant* const named = g_dbus_connection_call_sync(
            m_bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
            g_variant_new("(su)", "org.freedesktop.portal.Desktop", 0u), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
            nullptr, nullptr);
        g_variant_unref(named);
        m_bReady = true;
        while (!m_bEnd) {
            g_main_context_iteration(m_context, TRUE);
        }
        g_dbus_node_info_unref(node);
        g_dbus_connection_close_sync(m_bus, nullptr, nullptr);
        g_object_unref(m_bus);
        g_main_context_pop_thread_default(m_context);
    }

    const std::uint32_t m_scheme;
    const std::uint32_t m_contrast;
    GMainContext* const m_context = g_main_context_new();
    GDBusConnection* m_bus = nullptr;
    std::atomic<bool> m_bReady = false;
    std::atomic<bool> m_bEnd = false;
    std::thread m_thread;
};

class Preference : public testing::Test {
protected:
    Preference() : m_before(qgetenv("DBUS_SESSION_BUS_ADDRESS")) {}
    ~Preference() override {
        m_bus.kill();
        m_bus.waitForFinished();
        m_before.isEmpty() ? qunsetenv("DBUS_SESSION_BUS_ADDRESS")
                           : qputenv("DBUS_SESSION_BUS_ADDRESS", m_before);
    }
    void StartBus() {
        m_bus.start("/usr/bin/dbus-daemon", {"--session", "--nofork", "--print-address=1"});
        ASSERT_TRUE(m_bus.waitForReadyRead());
        address = m_bus.readLine().trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    }
    void Watch() {
        watch = WatchDesktopPreference([this](std::optional<SkinLook> look) { told.push_back(look); });
    }
    bool IsTold(std::optional<SkinLook> look) {
        return PumpUntil([&] { return !told.empty() && told.back() == look; });
    }

    QByteArray address;
    std::unique_ptr<DesktopPreference> watch;
    std::vector<std::optional<SkinLook>> told;

private:
    const QByteArray m_before;
    QProcess m_bus;
};

}  // namespace

TEST_F(Preference, FollowsThePortal) {
    if (!QFile::exists("/usr/bin/dbus-daemon")) {
        KV_SKIP("there is no dbus-daemon");
    }
    StartBus();
    Portal portal(address, 2, 0);
    Watch();
    EXPECT_TRUE(IsTold(SkinLook::Light));
    constexpr const char* kAppearance = "org.freedesktop.appearance";
    portal.Tell(kAppearance, "color-scheme", g_variant_new_uint32(1));
    EXPECT_TRUE(IsTold(SkinLook::Dark));
    portal.Tell(kAppearance, "contrast", g_variant_new_uint32(1));
    EXPECT_TRUE(IsTold(SkinLook::HighContrast));
    portal.Tell(kAppearance, "contrast", g_variant_new_uint32(0));
    EXPECT_TRUE(IsTold(SkinLook::Dark));
    const std::size_t count = told.size();
    // Of others, and of no type of theirs: the value stays.
    portal.Tell("org.gnome.desktop.interface", "color-scheme", g_variant_new_uint32(2));
    portal.Tell(kAppearance, "accent-color", g_variant_new_uint32(2));
    portal.Tell(kAppearance, "color-scheme", g_variant_new_string("light"));
    portal.Tell(kAppearance, "color-scheme", g_variant_new_uint32(77));
    EXPECT_TRUE(IsTold(std::nullopt));
    EXPECT_LE(told.size(), count + 2);
}

// No bus, a bus without a portal, a bus that never answers: no word, no wait, and a quick end.
TEST_F(Preference, NeedsNoPortal) {
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    Watch();
    if (QFile::exists("/usr/bin/dbus-daemon")) {
        StartBus();
        const auto other =
            WatchDesktopPreference([this](std::optional<SkinLook> look) { told.push_back(look); });
        PumpUntil([] { return false; }, std::chrono::milliseconds(300));
    }
    const auto begin = std::chrono::steady_clock::now();
    watch.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_THAT(told, testing::IsEmpty());
}
