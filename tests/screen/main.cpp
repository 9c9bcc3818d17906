// Runs the tests on an X11 display of their own, where there is one.
#include <gtest/gtest.h>

#include <QtWidgets/QApplication>
#include <cstdio>

#include "support/end_tests.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // Ends with its last client.
    std::FILE* const server =
        testing::GTEST_FLAG(list_tests)
            ? nullptr
            : ::popen("exec Xvfb -displayfd 1 -terminate -nolisten tcp -screen 0 1280x960x24 2>/dev/null",
                      "r");
    char number[16] = {};
    if (server != nullptr && std::fgets(number, sizeof number, server) != nullptr) {
        qputenv("DISPLAY", ":" + QByteArray(number).trimmed());
        qputenv("QT_QPA_PLATFORM", "xcb");
    } else {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    int status = 0;
    {
        QApplication application(argc, argv);
        status = RUN_ALL_TESTS();
    }
    if (server != nullptr) {
        ::pclose(server);
    }
    return kvtest::EndTests(status);
}
