// The console as assistive tools see it: the real program on a display and an accessibility bus of the test's
// own.
#include <gmock/gmock.h>

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QStringList>
#include <fstream>

#include "support/fake_recorder.h"
#include "support/must_run.h"
#include "support/qt_pump.h"
#include "support/temp_folder.h"

using kvtest::FakeRecorder;
using kvtest::PumpUntil;
using testing::AllOf;
using testing::Contains;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* kLauncher = "/usr/libexec/at-spi-bus-launcher";

// A program of the test's, which ends with it.
class Tool : public QProcess {
public:
    ~Tool() override {
        kill();
        waitForFinished();
    }
};

class Assistive : public testing::Test {
protected:
    void StartDesktop() {
        for (const char* const name : {"XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "HOME"}) {
            environment.insert(name, QString::fromStdString(folder.Path()));
        }
        screen.start("/usr/bin/Xvfb", {"-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp"});
        ASSERT_TRUE(screen.waitForReadyRead());
        environment.insert("DISPLAY", ":" + screen.readLine().trimmed());
        environment.insert("QT_QPA_PLATFORM", "xcb");
        environment.insert("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
        manager.setProcessEnvironment(environment);  // gives the window the keyboard
        const QString ready = QString::fromStdString(folder.File("ready"));
        manager.start("/usr/bin/openbox", {"--startup", "touch " + ready});
        ASSERT_TRUE(PumpUntil([&] { return QFile::exists(ready); }));
        bus.setProcessEnvironment(environment);
        bus.start("/usr/bin/dbus-daemon", {"--session", "--nofork", "--print-address=1"});
        ASSERT_TRUE(bus.waitForReadyRead());
        environment.insert("DBUS_SESSION_BUS_ADDRESS", bus.readLine().trimmed());
        launcher.setProcessEnvironment(environment);
        launcher.start(kLauncher, {"--launch-immediately"});
        ASSERT_TRUE(launcher.waitForStarted());
    }
    void StartProgram(std::uint16_t port) {
        std::ofstream(folder.File("password")) << "hunter2\n";
        program.setProcessEnvironment(environment);
        program.setStandardErrorFile(QString::fromStdString(folder.File("err")));
        program.start(KVMON_PROGRAM, {"--data-dir", QString::fromStdString(folder.File("data")), "--port",
                                      QString::number(port), "--user", "admin", "--password-file",
                                      QString::fromStdString(folder.File("password")), "--auto-start"});
        ASSERT_TRUE(program.waitForStarted());
    }
    // A line for each object, after the action if there is one.
    std::vector<std::string> Walk(const QStringList& action = {}) {
        Tool walker;
        walker.setProcessEnvironment(environment);
        walker.start("/usr/bin/python3", QStringList{KV_WALKER, "kvmon"} + action);
        EXPECT_TRUE(PumpUntil([&] { return walker.state() == QProcess::NotRunning; }));
        std::vector<std::string> lines;
        for (const QByteArray& line : walker.readAllStandardOutput().split('\n')) {
            lines.push_back(line.toStdString());
        }
        const std::string errors = walker.readAllStandardError().toStdString();
        EXPECT_EQ(walker.exitCode(), 0) << errors;
        return lines;
    }

    testing::AssertionResult Shows(const testing::Matcher<std::vector<std::string>>& matcher) {
        std::vector<std::string> lines;
        const bool bShown = PumpUntil([&] {
            lines = Walk();
            return matcher.Matches(lines);
        });
        return bShown ? testing::AssertionSuccess()
                      : testing::AssertionFailure() << testing::PrintToString(lines);
    }

    kvtest::TempFolder folder;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    Tool screen;
    Tool manager;
    Tool bus;
    Tool launcher;
    Tool program;
};

}  // namespace

TEST_F(Assistive, TheWallIsWalkedAndActedOnByTheBus) {
    for (const char* const file :
         {"/usr/bin/Xvfb", "/usr/bin/openbox", "/usr/bin/dbus-daemon", kLauncher, "/usr/bin/python3"}) {
        if (!QFile::exists(QString::fromLatin1(file))) {
            KV_SKIP(std::string("there is no ") + file);
        }
    }
    FakeRecorder recorder("Hall", 6);
    StartDesktop();
    if (HasFatalFailure()) {
        return;
    }
    StartProgram(recorder.Port());
    ASSERT_TRUE(Shows(Contains(HasSubstr("|Channel 4|"))));
    const std::vector<std::string> lines = Walk();
    // The window by the recorder's name, the console in it, its buttons with their states and keys.
    EXPECT_THAT(lines, Contains(ContainsRegex("^1\\|frame\\|Hall - ")));
    EXPECT_THAT(lines, Contains(ContainsRegex("^3\\|panel\\|")));
    EXPECT_THAT(lines, Contains(ContainsRegex("\\|radio button\\|4 channels\\|.*checked.*\\|.*3")));
    EXPECT_THAT(lines, Contains(ContainsRegex("\\|check box\\|Full screen\\|.*focusable.*\\|.*F11")));
    // Each cell is one object that says which camera it has and how that is.
    EXPECT_THAT(lines, Contains(ContainsRegex("\\|Channel 1\\|Active camera, .*\\|focusable.*selected")));
    EXPECT_THAT(lines, Contains(ContainsRegex("\\|Channel 4\\|No picture.*\\|focusable.*\\|.*Return.*Menu")));
    const auto cells = std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find("|Channel ") != std::string::npos;
    });
    EXPECT_EQ(cells, 4);

    // Focus makes a cell the active one; the press opens it alone, and back.
    Walk({"--do", "Channel 3", "SetFocus"});
    EXPECT_TRUE(Shows(Contains(ContainsRegex("\\|Channel 3\\|Active camera.*focused.*selected"))));
    Walk({"--do", "Channel 3", "Press"});
    EXPECT_TRUE(Shows(AllOf(Contains(ContainsRegex("\\|Channel 3\\|Active camera")),
                            Not(Contains(HasSubstr("|Channel 4|"))))));
    Walk({"--do", "Channel 3", "Press"});
    EXPECT_TRUE(Shows(Contains(HasSubstr("|Channel 4|"))));
    Walk({"--do", "Full screen", "Press"});
    EXPECT_TRUE(Shows(Contains(ContainsRegex("^1\\|frame\\|KelvaraMonitor Full Screen"))));
}
