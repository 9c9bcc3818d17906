// The program with a device that decodes: what is read back from it, and what a guard sees and saves.
#include <gtest/gtest.h>
#include <xcb/xtest.h>

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <chrono>
#include <cstdint>
#include <cstdlib>

#include "onlooker.h"
#include "recorder_process.h"
#include "support/must_run.h"
#include "support/temp_folder.h"
#include "support/wait_until.h"
#include "va_driver/va_driver.h"

namespace kvmon {
namespace {

constexpr QSize kFilmSize(1280, 720);
constexpr QPoint kInFirstCell(120, 200);

// A guard's hands.
class Hands {
public:
    Hands() : m_connection(xcb_connect(nullptr, nullptr)) {}
    ~Hands() { xcb_disconnect(m_connection); }
    Hands(const Hands&) = delete;
    Hands& operator=(const Hands&) = delete;

    void Click(const QPoint& at) {
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        xcb_test_fake_input(m_connection, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root,
                            static_cast<std::int16_t>(at.x()), static_cast<std::int16_t>(at.y()), 0);
        Press(XCB_BUTTON_PRESS, XCB_BUTTON_RELEASE, XCB_BUTTON_INDEX_1);
    }
    void Type(std::uint8_t keycode) { Press(XCB_KEY_PRESS, XCB_KEY_RELEASE, keycode); }

private:
    void Press(std::uint8_t down, std::uint8_t up, std::uint8_t what) {
        for (const std::uint8_t type : {down, up}) {
            xcb_test_fake_input(m_connection, type, what, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        }
        xcb_flush(m_connection);
    }

    xcb_connection_t* const m_connection;
};
constexpr std::uint8_t kKeyS = 39;  // of every PC keyboard

class DeviceProgram : public testing::Test {
protected:
    void SetUp() override {
        if (QGuiApplication::platformName() != QLatin1String("xcb")) {
            KV_SKIP("there is no Xvfb");
        }
    }
    // The settings are the administrator's file.
    void Start(const QString& failure = {}, const QByteArray& settings = {}) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(kvtest::kVaFailure, failure);
        environment.insert("LIBVA_DRIVERS_PATH", KV_VA_DRIVERS);
        environment.insert("LIBVA_DRIVER_NAME", "kvtest");
        environment.insert(kvtest::kVaLog, File("log"));
        environment.insert("HOME", File("home"));
        QFile site(File("site"));
        ASSERT_TRUE(site.open(QIODevice::WriteOnly) && site.write(settings) == settings.size());
        site.close();
        environment.insert("KVMON_SITE_SETTINGS", File("site"));
        QDir().mkpath(File("home"));
        program.setProcessEnvironment(environment);
        program.start(KVMON_PROGRAM, {"--data-dir", File("data"), "--server", "127.0.0.1", "--port",
                                      QString::number(recorder.Port()), "--auth", "YWRtaW46c2VjcmV0",
                                      "--auto-start", "--hwdec", "vaapi"});
    }
    void TearDown() override {
        program.terminate();
        if (!program.waitForFinished(15000)) {
            program.kill();
            program.waitForFinished();
        }
    }
    QString File(const char* name) const { return QString::fromStdString(folder.File(name)); }
    // The sizes in which pictures were read back, since this was last asked.
    QList<QSize> Read() {
        QFile file(File("log"));
        QList<QSize> sizes;
        if (file.open(QIODevice::ReadOnly)) {
            file.seek(m_at);
            for (QByteArray line = file.readLine(); line.endsWith('\n'); line = file.readLine()) {
                const QList<QByteArray> sides = line.trimmed().split('x');
                sizes.append(QSize(sides[0].toInt(), sides[1].toInt()));
                m_at = file.pos();
            }
        }
        return sizes;
    }
    // The device's pictures are even greys; nothing else is where the first cell has its picture.
    bool ShowsGrey() const {
        const QRgb seen = Seen();
        return qRed(seen) == qGreen(seen) && qGreen(seen) == qBlue(seen) && qRed(seen) > 20 &&
               m_onlooker.ColourAt(kInFirstCell + QPoint(200, 20)) == seen;
    }
    QRgb Seen() const { return m_onlooker.ColourAt(kInFirstCell); }
    template <typename Done>
    static bool Wait(const Done& done) {
        return kvtest::WaitUntil(done, std::chrono::seconds(30));
    }
    // Without a window manager the focus comes with a click, some time later: the key is pressed till it
    // works.
    template <typename Done>
    static bool PressesS(const Done& done) {
        Hands hands;
        hands.Click(kInFirstCell);
        QElapsedTimer pressed;
        return Wait([&] {
            if (!pressed.isValid() || pressed.hasExpired(1000)) {
                hands.Type(kKeyS);
                pressed.start();
            }
            return done();
        });
    }

    kvtest::TempFolder folder;
    kvtest::RecorderProcess recorder{1, false, "codec = \"h264\", width = 1280, height = 720, fps = 5"};
    QProcess program;

private:
    const kvtest::Onlooker m_onlooker;
    qint64 m_at = 0;
};

TEST_F(DeviceProgram, ReadsWhatTheWallShowsAndSavesTheWhole) {
    Start();
    ASSERT_TRUE(Wait([this] { return ShowsGrey(); })) << program.readAllStandardError().toStdString();
    Read();
    QList<QSize> sizes;
    ASSERT_TRUE(Wait([&] { return (sizes += Read()).size() >= 3; }));
    for (const QSize& size : sizes) {
        EXPECT_LT(size.width(), kFilmSize.width());
        EXPECT_LT(size.height(), kFilmSize.height());
    }
    QString shot;
    ASSERT_TRUE(PressesS([&] {
        QDirIterator files(File("home"), {"*.jpg"}, QDir::Files, QDirIterator::Subdirectories);
        shot = files.hasNext() ? files.next() : QString();
        return !shot.isEmpty();
    }));
    const QImage saved(shot);
    EXPECT_EQ(saved.size(), kFilmSize);
    const QRgb middle = saved.pixel(kFilmSize.width() / 2, kFilmSize.height() / 2);
    EXPECT_TRUE(qGreen(middle) > 20 && std::abs(qRed(middle) - qBlue(middle)) < 3);
}

// A device has few places, and may be gone before the name is typed.
TEST_F(DeviceProgram, TheWholePictureIsReadBeforeItsNameIsAskedFor) {
    Start({}, "[*]\nManualInputSnapeshotFilename=1\n");
    ASSERT_TRUE(Wait([this] { return ShowsGrey(); })) << program.readAllStandardError().toStdString();
    Read();
    EXPECT_TRUE(PressesS([this] { return Read().contains(kFilmSize); }));
}

TEST_F(DeviceProgram, ADeviceThatIsGoneLeavesNoGapOnTheWall) {
    Start("EndPicture:24");  // two calls for each picture of the wall
    ASSERT_TRUE(Wait([this] { return ShowsGrey(); })) << program.readAllStandardError().toStdString();
    int nDark = 0;
    EXPECT_TRUE(Wait([&] {
        const QRgb seen = Seen();
        nDark += qGreen(seen) < 20 ? 1 : 0;
        return qRed(seen) != qGreen(seen) || qGreen(seen) != qBlue(seen);
    }));
    EXPECT_EQ(nDark, 0);
}

}  // namespace
}  // namespace kvmon
