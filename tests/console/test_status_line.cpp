#include "console/recorders/status_line.h"

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
    EXPECT_EQ(StatusText({}, 0, 0, 0), "Not connected");
    EXPECT_EQ(StatusText({{LinkState::kConnecting, "1.2.3.4:80", 0}}, 0, 0, 0),
              "Connecting to 1.2.3.4:80...");
    EXPECT_EQ(StatusText({hall}, 3, 4, 4), "Connected to Hall - 3 of 4 channels live");
    EXPECT_EQ(StatusText({hall}, 3, 4, 9), "Connected to Hall - 3 of 4 channels on this page live");
    EXPECT_EQ(StatusText({hall, hall}, 4, 4, 4), "Connected to 2 recorders - 4 of 4 channels live");
    EXPECT_EQ(StatusText({yard, hall}, 2, 4, 4),
              "Connection to Yard 100%d lost - trying again in 4 s - 2 of 4 channels live");
    EXPECT_EQ(StatusText({{LinkState::kLost, "Yard", 0}}, 0, 4, 4),
              "Connection to Yard lost - trying again...");
    EXPECT_EQ(StatusText({yard, {LinkState::kRefused, "Hall", 0}}, 0, 0, 0),
              "Hall refused the user name or the password");
}

TEST(StatusText, TellsWhy) {
    const auto text = [](LinkState state, LinkFault fault, int status = 0) {
        return LinkText({state, "Hall", 5, {fault, status}, "10.0.0.1:80"});
    };
    EXPECT_EQ(text(LinkState::kNoAnswer, LinkFault::None), "Hall does not answer - trying again in 5 s");
    EXPECT_EQ(text(LinkState::kNoAnswer, LinkFault::NoRoute),
              "No route to 10.0.0.1:80 - trying again in 5 s");
    EXPECT_EQ(text(LinkState::kNoAnswer, LinkFault::NoHost),
              "The address 10.0.0.1:80 is not known - trying again in 5 s");
    EXPECT_EQ(text(LinkState::kLost, LinkFault::TimedOut),
              "Connection to Hall lost - No answer from Hall in time - trying again in 5 s");
    EXPECT_EQ(text(LinkState::kFaulty, LinkFault::Status, 503),
              "Hall answers with error 503 - trying again in 5 s");
    EXPECT_EQ(text(LinkState::kRefused, LinkFault::Credentials),
              "Hall refused the user name or the password - trying again in 5 s");
}

class StatusLineTest : public kvtest::ConsoleTest {
protected:
    QLabel& Line() { return *console->findChild<QLabel*>("statusLine"); }
    bool Says(const QString& text) {
        const bool bSaid = PumpUntil([&] { return Line().text().startsWith(text); });
        EXPECT_TRUE(bSaid) << Line().text().toStdString();
        return bSaid;
    }
    static QString Address(std::uint16_t port) { return "127.0.0.1:" + QString::number(port); }
};

TEST_F(StatusLineTest, FollowsTheConnectionAndIsReadAloud) {
    FakeRecorder silent("Hall", 4);
    silent.GoSilent();
    Start(silent.Port());
    EXPECT_EQ(Line().text(), "Connecting to " + Address(silent.Port()) + "...");
    Close();
    auto recorder = std::make_unique<FakeRecorder>("Hall", 4);
    const QString address = Address(recorder->Port());
    Start(recorder->Port());
    EXPECT_TRUE(Says("Connected to Hall"));
    EXPECT_TRUE(Says("Connected to Hall - 0 of 4 channels live"));
    QAccessibleInterface* const accessible = QAccessible::queryAccessibleInterface(&Line());
    EXPECT_EQ(accessible->text(QAccessible::Name), Line().text());
    EXPECT_EQ(accessible->role(), QAccessible::StaticText);
    Command(kCtlFirstStyle);
    EXPECT_TRUE(Says("Connected to Hall - 0 of 1 channel on this page live"));
    console->resize(1300, 900);
    EXPECT_EQ(Line().geometry(), SkinStatusRect(QSize(1300, 900)));
    recorder.reset();
    EXPECT_TRUE(Says("Connection to Hall lost - No recorder at " + address + " - trying again"));
    console->Parts().session.OnBtnLogout();
    EXPECT_TRUE(Says("Not connected"));
}

// After a try or two, long before the failures are so many that a box tells of them.
TEST_F(StatusLineTest, SaysWhatStandsInTheWay) {
    const struct {
        const char* reply;
        const char* said;  // behind the address
    } cases[] = {
        {"HTTP/1.0 401 Unauthorized\r\n\r\n", " refused the user name or the password"},
        {"HTTP/1.0 404 Not Found\r\n\r\n", " does not have a recorder's documents (404) - trying again"},
        {"HTTP/1.0 500 Internal Server Error\r\n\r\n", " answers with error 500 - trying again"},
        {"HTTP/1.0 200 OK\r\n\r\n<html>Router</html>\r\n", " is not a recorder - trying again"},
    };
    kvtest::FakeClock still;  // each try is the test's
    for (const auto& row : cases) {
        FakeRecorder recorder("Hall", 4);
        recorder.AnswerAll(row.reply);
        Start(recorder.Port(), still);
        const CKelvaraInfo& server = *console->Parts().recorders.GetServer(0);
        int rounds = 0;
        EXPECT_TRUE(PumpUntil([&] {
            if (server.GetRetrySeconds() > 0 && ++rounds % 3 == 0) {
                still.Advance(Milliseconds(1000));  // a connection that broke is tried again
            }
            return Line().text().contains(Address(recorder.Port()) + row.said);
        })) << Line().text().toStdString();
        EXPECT_LE(recorder.CountHeads("get_init_info"), 4);
        Close();
    }
    const std::uint16_t port = kvtest::UnusedPort();
    Start(port, still);
    EXPECT_TRUE(Says("No recorder at " + Address(port) + " - trying again in 1 s"));
    Close();
}
