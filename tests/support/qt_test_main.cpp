#include <gmock/gmock.h>

int main(int argc, char** argv) {
    // Also when the test is only asked to list its cases: a test never needs a display.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    testing::InitGoogleMock(&argc, argv);
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
