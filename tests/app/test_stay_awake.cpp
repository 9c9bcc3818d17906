// The display that does not go dark, on a session bus of the test's own.
#include <gmock/gmock.h>

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QThread>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusObjectPath>
#include <QtDBus/QDBusVirtualObject>
#include <atomic>
#include <chrono>
#include <mutex>

#include "app/stay_awake.h"
#include "support/must_run.h"
#include "support/qt_pump.h"
#include "support/qt_ui_watchdog.h"

using namespace kvmon;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kSaver = "org.freedesktop.ScreenSaver";
constexpr const char* kPortal = "org.freedesktop.portal.Desktop";

// Answers for the screensaver and for the portal, and notes what it was asked.
class FakeDesktop final : public QDBusVirtualObject {
public:
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
        std::string call = message.member().toStdString();
        if (message.member() == "UnInhibit") {
            call += " " + std::to_string(message.arguments().at(0).toUInt());
        } else if (message.member() == "Close") {
            call += " " + message.path().toStdString();
        }
        {
            const std::lock_guard guard(m_lock);
            m_calls.push_back(call);
        }
        if (bSilent) {
            return true;
        }
        if (message.interface() == "org.freedesktop.portal.Inhibit") {
            bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath("/asked/7"))));
        } else if (message.member() == "Inhibit") {
            bus.send(message.createReply(QVariant::fromValue(++cookie)));
        } else {
            bus.send(message.createReply());
        }
        return true;
    }

    std::vector<std::string> Calls() const {
        const std::lock_guard guard(m_lock);
        return m_calls;
    }
    void ForgetCalls() {
        const std::lock_guard guard(m_lock);
        m_calls.clear();
    }

    quint32 cookie = 40;
    std::atomic<bool> bSilent = false;

private:
    mutable std::mutex m_lock;
    std::vector<std::string> m_calls;
};

class StayAwakeTest : public testing::Test {
protected:
    ~StayAwakeTest() override {
        QDBusConnection::disconnectFromBus("fake");
        thread.quit();
        thread.wait();
        qputenv("DBUS_SESSION_BUS_ADDRESS", before);
        bus.kill();
        bus.waitForFinished();
    }
    void StartBus() {
        bus.start("/usr/bin/dbus-daemon", {"--session", "--nofork", "--print-address=1"});
        ASSERT_TRUE(bus.waitForReadyRead());
        const QByteArray address = bus.readLine().trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        QDBusConnection connection = QDBusConnection::connectToBus(QString::fromLatin1(address), "fake");
        ASSERT_TRUE(connection.registerVirtualObject("/", &desktop, QDBusConnection::SubPath));
        desktop.moveToThread(&thread);  // the end of what is tested waits for its answers
        thread.start();
    }
    static bool Offer(const char* name) { return QDBusConnection("fake").registerService(name); }

    const QByteArray before = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    QProcess bus;
    QThread thread;
    FakeDesktop desktop;
};

}  // namespace

TEST_F(StayAwakeTest, TheScreensaverWaitsWhilePicturesShowAndThePortalIsTheSecondChoice) {
    if (!QFile::exists("/usr/bin/dbus-daemon")) {
        KV_SKIP("there is no /usr/bin/dbus-daemon");
    }
    StartBus();
    ASSERT_TRUE(Offer(kSaver));
    const auto isTold = [this](std::size_t count) {
        return PumpUntil([this, count] { return desktop.Calls().size() >= count; });
    };
    {
        StayAwake awake;
        awake.Set(true);
        awake.Set(true);
        ASSERT_TRUE(isTold(1));
        awake.Set(false);
        ASSERT_TRUE(isTold(2));
        awake.Set(true);
        ASSERT_TRUE(isTold(3));
    }
    ASSERT_TRUE(isTold(4));
    EXPECT_THAT(desktop.Calls(), ElementsAre("Inhibit", "UnInhibit 41", "Inhibit", "UnInhibit 42"));

    desktop.ForgetCalls();
    QDBusConnection("fake").unregisterService(kSaver);
    ASSERT_TRUE(Offer(kPortal));
    {
        StayAwake awake;
        awake.Set(true);
        ASSERT_TRUE(isTold(1));
        awake.Set(false);
        ASSERT_TRUE(isTold(2));
    }
    EXPECT_THAT(desktop.Calls(), ElementsAre("Inhibit", "Close /asked/7"));

    // One that never answers holds up neither the window nor the end.
    desktop.ForgetCalls();
    desktop.bSilent = true;
    auto& watchdog = kvtest::WatchedApplication::Instance();
    watchdog.ForgetLongest();
    std::chrono::steady_clock::time_point end;
    {
        StayAwake awake;
        awake.Set(true);
        ASSERT_TRUE(isTold(1));
        awake.Set(false);
        EXPECT_LE(watchdog.LongestWaitMs(), kvtest::UiWaitLimitMs()) << watchdog.LongestWait();
        end = std::chrono::steady_clock::now();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - end, std::chrono::seconds(2));
}

TEST_F(StayAwakeTest, WithoutABusOrAServiceNothingHappens) {
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    StayAwake awake;
    awake.Set(true);
    awake.Set(false);
    EXPECT_THAT(desktop.Calls(), IsEmpty());
}
