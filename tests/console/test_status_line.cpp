#include "console/status_line.h"

#include <gmock/gmock.h>

#include <QtGui/QAccessible>

#include "console_fixture.h"
#include "skin/background.h"
#include "support/fake_recorder.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::PumpUntil;

TEST(StatusText, TellsTheWorstOfAllRecorders) {
    const LinkReport hall{LinkState::kConnected, "Hall", 0};
    const LinkReport yard{LinkState::kLost, "Yard 100%d", 4};
    EXPECT_EQ(StatusText({}, 0, 0), "Not connected");
    EXPECT_EQ(StatusText({{LinkState::kConnecting, "1.2.3.4:80", 0}}, 0, 0), "Connecting to 1.2.3.4:80...");
    EXPECT_EQ(StatusText({hall}, 3, 4), "Connected to Hall - 3 of 4 channels live");
    EXPECT_EQ(StatusText({hall, hall}, 4, 4), "Connected to 2 recorders - 4 of 4 channels live");
    EXPECT_EQ(StatusText({yard, hall}, 2, 4),
              "Connection to Yard 100%d lost - trying again in 4 s - 2 of 4 channels live");
    EXPECT_EQ(StatusText({{LinkState::kLost, "Yard", 0}}, 0, 4), "Connection to Yard lost - trying again...");
    EXPECT_EQ(StatusText({yard, {LinkState::kRefused, "Hall", 0}}, 0, 0),
              "Hall refused the user name or the password");
}

class StatusLineTest : public kvtest::ConsoleTest {
protected:
    QLabel& Line() { return *console->findChild<QLabel*>("statusLine"); }
    bool Says(const char* text) {
        return PumpUntil([&] { return Line().text().startsWith(QLatin1String(text)); });
    }
};

TEST_F(StatusLineTest, FollowsTheConnectionAndIsReadAloud) {
    auto recorder = std::make_unique<FakeRecorder>("Hall", 4);
    Start(recorder->Port());
    EXPECT_TRUE(Line().text().startsWith("Connecting to 127.0.0.1:"));
    EXPECT_TRUE(Says("Connected to Hall"));
    EXPECT_TRUE(Says("Connected to Hall - 0 of 4 channels live"));
    QAccessibleInterface* const accessible = QAccessible::queryAccessibleInterface(&Line());
    EXPECT_EQ(accessible->text(QAccessible::Name), Line().text());
    EXPECT_EQ(accessible->role(), QAccessible::StaticText);
    console->resize(1300, 900);
    EXPECT_EQ(Line().geometry(), SkinStatusRect(QSize(1300, 900)));
    recorder.reset();
    EXPECT_TRUE(Says("Connection to Hall lost - trying again"));
    console->OnBtnLogout();
    EXPECT_TRUE(Says("Not connected"));
}
