// Guesses of passwords: slowed down, shut out, and told in few words.
#include <gmock/gmock.h>

#include "service_fixture.h"

namespace kvtest {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

class Logins : public ServiceTest {
protected:
    Logins() {
        LoginLimits& limits = config.server.logins;
        limits.penalty = minutes(1);
        limits.limit = minutes(6) - seconds(30);
        limits.delayPart = 600;
        limits.loopback = LoopbackLogins::AsOthers;
        config.channels[0].talk = true;
        config.channels[1].camera.direct = true;
        config.channels[1].camera.user = "viewer";
        config.channels[1].camera.password = "lens";
        options.cameraAddress = "127.0.0.1";
    }
    int Try(const std::string& target, const std::string& credentials, const char* from = nullptr) {
        const std::string camera = service->CameraEndpoint();
        const bool atCamera = target.starts_with("/camera");
        RecorderClient client(
            atCamera ? static_cast<std::uint16_t>(std::stoi(camera.substr(camera.rfind(':') + 1))) : port, 0,
            from);
        client.Send(Get(target, credentials));
        return std::atoi(client.ReadHead().substr(9, 3).c_str());
    }
    milliseconds TimeOf(const std::string& credentials) {
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(Try("/get_init_info.cgi", credentials), 401);
        return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - before);
    }
    static constexpr const char* kWays[] = {"/get_init_info.cgi",
                                            "/cgi-bin/getstream.cgi?ch=1&stream_id=0 ",
                                            "/cgi-bin/notify.cgi",
                                            "/cgi-bin/putaudiostream.cgi?ch=0 ",
                                            "/cgi-bin/ptz.cgi?ch=1&command=16",
                                            "/camera/1/video.mjpg"};
};

TEST_F(Logins, EveryWayCountsAndShutsAnAddressOut) {
    Start();
    RecorderClient watcher = Open("/cgi-bin/getstream.cgi?ch=1&stream_id=0 ");
    for (const char* way : kWays) {
        EXPECT_EQ(Try("/get_init_info.cgi", "admin:secret"), 200) << way;
        EXPECT_EQ(Try(way, std::string("admin:guess at ") + way), 401);
    }
    for (const char* way : kWays) {
        const bool camera = std::string(way).starts_with("/camera");
        EXPECT_EQ(Try(way, camera ? "viewer:lens" : "admin:secret"), 503) << way;
        EXPECT_EQ(Try(way, camera ? "viewer:lens" : "admin:secret", "127.0.0.2"), 200) << way;
    }
    EXPECT_EQ(Fetch(port, "GET /logomark.jpg HTTP/1.0\r\n\r\n").status, 200) << "asks for nobody";
    ASSERT_TRUE(WaitUntil([&] { return hub->Watchers() >= 1; }));
    hub->Push(1, 0, KeyPacket(9, 0));
    EXPECT_EQ(watcher.Read(56 + 9).size(), 65u) << "who is in stays in";
}

TEST_F(Logins, RefusalsAreHeldBackWhileOthersAreServed) {
    Start();
    EXPECT_GE(TimeOf("admin:a"), milliseconds(95));
    EXPECT_GE(TimeOf("admin:b"), milliseconds(190));
    for (int i = 0; i < 4; ++i) {
        EXPECT_LT(TimeOf("admin:b"), seconds(5)) << "the same once more is no guess";
    }
    config.server.logins.delayPart = 1;  // a minute for each
    EXPECT_EQ(model->Reload(config), "");
    std::vector<RecorderClient> guesses;
    for (int i = 0; i < 20; ++i) {  // more than there are threads
        guesses.emplace_back(port);
        guesses.back().Send(Get("/get_init_info.cgi", "admin:b"));
    }
    EXPECT_TRUE(guesses.back().Silent(milliseconds(100)));
    EXPECT_EQ(Try("/get_init_info.cgi", "admin:secret"), 200);
}

TEST_F(Logins, FromThisMachineEachNameIsCountedByItself) {
    config.server.logins.loopback = LoopbackLogins::ByName;
    config.server.logins.delayPart = 60'000;
    Start();
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(Try("/get_init_info.cgi", "guard:" + std::to_string(i)), 401);
    }
    EXPECT_EQ(Try("/get_init_info.cgi", "guard:night"), 503);
    EXPECT_EQ(Try("/get_init_info.cgi", "admin:secret"), 200) << "a page host's other user";
    config.server.logins.loopback = LoopbackLogins::Free;
    EXPECT_EQ(model->Reload(config), "");
    EXPECT_EQ(Try("/get_init_info.cgi", "guard:night"), 200);
}

TEST(LoginGuard, PenaltiesGrowDecayAndAreBounded) {
    auto now = LoginGuard::Clock::now();
    LoginGuard guard([&] { return now; });
    const LoginLimits limits;  // five seconds each, thirty at the most
    int said = 0;
    const auto guess = [&](const char* from, int count) {
        for (int i = 0; i < count; ++i) {
            guard.Failed(limits, SourceAddress(from), "admin", std::to_string(++said));
        }
        return guard.Refused(limits, SourceAddress(from), "admin");
    };
    EXPECT_EQ(guess("192.0.2.1", 5), seconds(0));
    now += seconds(10);  // pays two
    EXPECT_EQ(guess("192.0.2.1", 2), seconds(0));
    EXPECT_EQ(guess("192.0.2.1", 1), seconds(30));
    now += seconds(30);
    EXPECT_EQ(guess("::ffff:192.0.2.1", 6), seconds(60)) << "the same address in another form";
    now += seconds(60);
    for (int i = 0; i < 10; ++i) {
        now += guess("192.0.2.1", 6);
    }
    EXPECT_EQ(guess("192.0.2.1", 6), limits.longest);
    now += 3 * limits.longest;
    EXPECT_EQ(guess("192.0.2.1", 6), seconds(30)) << "all is forgotten";

    EXPECT_EQ(guess("2001:db8:1:2::1", 3), seconds(0));
    EXPECT_EQ(guess("2001:db8:1:2:ffff::9", 3), seconds(30)) << "addresses of one network";
    EXPECT_EQ(guess("2001:db8:1:3::1", 5), seconds(0));
    EXPECT_EQ(guess("::1", 6), seconds(30));
    EXPECT_EQ(guard.Refused(limits, SourceAddress("::1"), "guard"), seconds(0));

    guess("198.51.100.1", 6);
    for (int i = 0; i < 20'000; ++i) {
        guess(("2001:db8:" + std::to_string(i % 9999) + ":" + std::to_string(i / 9999) + "::1").c_str(), 1);
        ASSERT_LE(guard.Sources(), LoginGuard::kMostSources);
    }
    EXPECT_GT(guess("198.51.100.1", 0), seconds(0)) << "who owes most is remembered longest";
}

TEST_F(Logins, AFloodOfNamesIsToldInFewWordsBesideTheHistory) {
    config.server.logins.penalty = {};
    options.refusalPause = milliseconds(100);
    std::mutex mutex;
    std::vector<std::string> lines;
    options.onRefusals = [&](const std::string& line) {
        const std::lock_guard lock(mutex);
        lines.push_back(line);
    };
    Start();
    constexpr int kNames = 1100;
    for (int i = 0; i < kNames; ++i) {
        ASSERT_EQ(Try("/get_init_info.cgi",
                      "\x1B[2J\xE2\x80\xAE" + std::string(300, 'n') + std::to_string(i) + ":x"),
                  401);
    }
    const auto counted = [&] {
        const std::lock_guard lock(mutex);
        int sum = 0;
        for (const std::string& line : lines) {
            sum += std::atoi(line.c_str());
        }
        return sum;
    };
    ASSERT_TRUE(WaitUntil([&] { return counted() == kNames; })) << counted();
    EXPECT_THAT(lines.back(), testing::HasSubstr(" from 127.0.0.1 refused, the last of ?[2J?nnn"));
    EXPECT_THAT(lines.back(), testing::SizeIs(testing::Le(150)));
    const auto told = model->Events().Latest(std::chrono::hours(1));
    EXPECT_THAT(told, testing::Contains(testing::Field(&Event::text, testing::HasSubstr(" started"))));
    EXPECT_THAT(told, testing::SizeIs(testing::Le(EventLog::kMostRefusals + 10)));
    EXPECT_THAT(
        told, testing::Each(testing::Field(&Event::text, testing::Not(testing::HasSubstr("\xE2\x80\xAE")))));
}

}  // namespace
}  // namespace kvtest
