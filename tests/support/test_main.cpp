#include <gmock/gmock.h>

#include "support/end_tests.h"

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    return kvtest::EndTests(RUN_ALL_TESTS());
}
