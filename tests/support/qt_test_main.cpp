#include <gmock/gmock.h>

#include "support/end_tests.h"
#include "support/qt_ui_watchdog.h"

#ifdef KV_SANITIZED_THREAD
// Qt's own threads are not instrumented, so that what they hand over looks unguarded.
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "race:libQt6Core.so\nrace:libQt6Gui.so\n";
}
// QProcess forks in a way that the sanitizer takes for this process's own.
extern "C" const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
    return "die_after_fork=0";
}
#endif

int main(int argc, char** argv) {
    // Also when the test is only asked to list its cases: a test never needs a display.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    testing::InitGoogleMock(&argc, argv);
    kvtest::WatchedApplication app(argc, argv);
    return kvtest::EndTests(RUN_ALL_TESTS());
}
