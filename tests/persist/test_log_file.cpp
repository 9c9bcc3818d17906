#include "persist/log_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/text.h"
#include "support/fake_clock.h"
#include "support/fork_alone.h"
#include "support/temp_folder.h"

using namespace kvmon;

namespace {

std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class LogFileTest : public testing::Test {
protected:
    void SetUp() override {
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }

    kvtest::TempFolder folder;
    const std::string path = folder.File("x.log");
    kvtest::FakeClock clock;
    CLogFile log{clock};
};

TEST_F(LogFileTest, LinesAreStampedAndRawTextStandsAsItIs) {
    log.Trace("dropped\n");
    log.TraceRaw(false, "dropped\n");
    ASSERT_TRUE(log.Open(path));
    log.Trace("%s: %u%%s\n", "CBaseCamera::GetStream", 7u);
    log.TraceRaw(false, "HTTP/1.0 200 OK %s\r\n");
    clock.Advance(std::chrono::hours(13));
    log.Trace("late\n");
    EXPECT_EQ(Content(path),
              "2024-01-02 12:00:00\tCBaseCamera::GetStream: 7%s\nHTTP/1.0 200 OK %s\r\n"
              "2024-01-03 01:00:00\tlate\n");
}

TEST_F(LogFileTest, LinesEndAtTheirLimitOfCharacters) {
    ASSERT_TRUE(log.Open(path));
    std::string accents;
    for (int i = 0; i < 1025; ++i) {
        accents += "\xC3\xA9";
    }
    log.Trace("%s", accents.c_str());
    const std::string text = Content(path);
    EXPECT_EQ(Utf16Length(text), 20u + 1024u);
    EXPECT_TRUE(IsValidUtf8(text));
}

TEST_F(LogFileTest, FallsBackToTheFirstLineAt10MB) {
    ASSERT_TRUE(log.Open(path));
    log.Trace("the first\n");
    const std::string first = Content(path);
    log.TraceRaw(false, std::string(0xA00000 - first.size(), 'x'));
    log.Trace("fits\n");  // at 10 MB, and not above
    EXPECT_EQ(std::filesystem::file_size(path), 0xA00000 + 25u);
    log.Trace("after\n");
    EXPECT_EQ(Content(path), first + "2024-01-02 12:00:00\tafter\n");
}

TEST_F(LogFileTest, OtherWritersAreShutOutAndANewOpenBeginsAnew) {
    ASSERT_TRUE(log.Open(path));
    log.Trace("kept\n");
    CLogFile second{clock};
    EXPECT_FALSE(second.Open(path));
    EXPECT_NE(Content(path), "");
    EXPECT_FALSE(log.Open(folder.File("none/x.log")));
    EXPECT_FALSE(log.IsOpen());
    log.Trace("to no file\n");
    EXPECT_TRUE(second.Open(path));
    EXPECT_EQ(Content(path), "");
}

TEST_F(LogFileTest, LinesOfManyThreadsStayWhole) {
    ASSERT_TRUE(log.Open(path));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int k = 0; k < 100; ++k) {
                log.Trace("thread %d %s\n", i, std::string(200, static_cast<char>('a' + i)).c_str());
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::istringstream lines(Content(path));
    std::string line;
    int count = 0;
    while (std::getline(lines, line)) {
        EXPECT_EQ(line.size(), 20u + 9u + 200u) << line;
        ++count;
    }
    EXPECT_EQ(count, 400);
}

TEST(DebugOutputTest, TheSwitchIsOffByNothingAndBy0) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto traceWith = [](const char* value) {
        ::setenv("KVMON_DEBUG", value, 1);
        std::fputs("begin|", stderr);
        Trace("a line");
        std::fputs("end", stderr);
        std::exit(0);
    };
    EXPECT_EXIT(traceWith("0"), testing::ExitedWithCode(0), "begin.end$");
    EXPECT_EXIT(traceWith(""), testing::ExitedWithCode(0), "begin.end$");
    EXPECT_EXIT(traceWith("1"), testing::ExitedWithCode(0), "begin.*a lineend$");
}

// What the disk refused must not come back in front of a later line.
TEST_F(LogFileTest, FullDiskDropsLinesAndTheProgramGoesOn) {
    const pid_t child = kvtest::ForkAlone();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const auto limit = [](rlim_t bytes) {
            const rlimit value{bytes, RLIM_INFINITY};
            ::setrlimit(RLIMIT_FSIZE, &value);
        };
        bool good = log.Open(path);
        log.Trace("one\n");
        limit(24);
        log.Trace("two\n");
        limit(RLIM_INFINITY);
        log.Trace("three\n");
        good = good && Content(path) == "2024-01-02 12:00:00\tone\n2024-01-02 12:00:00\tthree\n";
        ::_exit(good ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << Content(path);
}

}  // namespace
