// The settings file between processes: locks, damage, full disks.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <functional>

#include "persist/orvo_registry.h"
#include "support/file_holder.h"
#include "support/fork_alone.h"
#include "support/temp_folder.h"
#include "support/wait_until.h"

using namespace kvmon;
using kvtest::FileHolder;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

class SettingsFileTest : public testing::Test {
protected:
    std::string Db() const { return folder.File("settings.db"); }
    void Open(COrvoRegistry& registry) const {
        RegistryApp app;
        app.databasePath = Db();
        registry.InitRegistry(false, app);
    }
    // What a program would read that starts now.
    std::uint32_t Stored(const char* section, const std::string& entry, std::uint32_t nDefault = 0) const {
        COrvoRegistry registry;
        Open(registry);
        return registry.GetProfileInt(section, entry, nDefault);
    }
    void Execute(const char* sql) const {
        sqlite3* database = nullptr;
        sqlite3_open(Db().c_str(), &database);
        EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
        sqlite3_close(database);
    }
    // A tree that fills some pages.
    void Fill() const {
        COrvoRegistry registry;
        Open(registry);
        for (int i = 0; i < 200; ++i) {
            registry.WriteProfileString("s" + std::to_string(i), "v", std::string(100, 'x'));
        }
        ASSERT_TRUE(registry.Close());
    }
    std::vector<std::string> SetAside() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
            const std::string name = entry.path().filename().string();
            if (name.starts_with("settings.db.damaged-") && !name.ends_with("-wal")) {
                names.push_back(name);
            }
        }
        return names;
    }

    kvtest::TempFolder folder;
};

void Garbage(const std::string& file) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << std::string(30000, '\x5A');
}

void HoleInTheMiddle(const std::string& file) {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(100);
    stream << std::string(20000, '\x5A');
}

void Truncate(const std::string& file) {
    ASSERT_EQ(::truncate(file.c_str(), 9000), 0);
}

void TableOfAnotherMake(const std::string& file) {
    std::filesystem::remove(file);
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    sqlite3_exec(database, "CREATE TABLE settings (path TEXT, name TEXT, value)", nullptr, nullptr, nullptr);
    sqlite3_close(database);
}

}  // namespace

// No call waits for the other program's lock: it is let go only after all of them have returned.
TEST_F(SettingsFileTest, ALockThatAnotherProgramHoldsCostsNothing) {
    COrvoRegistry registry;
    Open(registry);
    registry.WriteProfileInt("s", "before", 1);
    ASSERT_TRUE(kvtest::WaitUntil([&] { return Stored("s", "before") == 1; }));
    FileHolder holder(Db());
    ASSERT_TRUE(holder.IsHeld());
    auto longest = std::chrono::steady_clock::duration::zero();
    for (std::uint32_t i = 0; i < 300; ++i) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(registry.WriteProfileInt("s", std::to_string(i), i + 1));
        EXPECT_EQ(registry.GetProfileInt("s", std::to_string(i), 0), i + 1);
        longest = std::max(longest, std::chrono::steady_clock::now() - start);
    }
    RecordProperty("longest_us", std::to_string(longest / std::chrono::microseconds(1)));
    EXPECT_EQ(Stored("s", "before"), 1u);  // a program that starts now can read
    EXPECT_EQ(Stored("s", "299"), 0u);
    holder.Release();
    ASSERT_TRUE(kvtest::WaitUntil([&] { return Stored("s", "299") == 300; }));
    EXPECT_EQ(Stored("s", "0"), 1u);
    EXPECT_TRUE(registry.Close());
}

TEST_F(SettingsFileTest, WhatCannotBeWrittenAtTheEndIsToldInOneLine) {
    Fill();
    COrvoRegistry registry;
    Open(registry);
    const FileHolder holder(Db());
    ASSERT_TRUE(holder.IsHeld());
    registry.WriteProfileInt("s", "a", 1);
    registry.WriteProfileInt("s", "b", 1);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(registry.Close(Milliseconds(300)));
    EXPECT_FALSE(registry.Close(Milliseconds(300)));
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
    EXPECT_THAT(told, HasSubstr("could not be written"));
}

// Such a file cannot even be read. Its values come later, and do not replace what was changed meanwhile.
TEST_F(SettingsFileTest, AFileThatIsLockedAtTheStartIsReadLater) {
    {
        COrvoRegistry registry;
        Open(registry);
        registry.WriteProfileInt("s", "old", 1);
        registry.WriteProfileInt("s", "both", 1);
    }
    Execute("PRAGMA journal_mode = DELETE");
    FileHolder holder(Db());
    ASSERT_TRUE(holder.IsHeld());
    COrvoRegistry registry;
    Open(registry);
    EXPECT_EQ(registry.GetProfileInt("s", "old", 7), 7u);
    EXPECT_TRUE(registry.WriteProfileInt("s", "both", 2));
    holder.Release();
    EXPECT_TRUE(kvtest::WaitUntil([&] { return registry.GetProfileInt("s", "old", 7) == 1; }));
    EXPECT_EQ(registry.GetProfileInt("s", "both", 0), 2u);
    EXPECT_TRUE(registry.Close());
    EXPECT_EQ(Stored("s", "old"), 1u);
    EXPECT_EQ(Stored("s", "both"), 2u);
}

// At its end a program saves all it has, also what it did not change.
TEST_F(SettingsFileTest, AProgramWritesOnlyWhatItChanged) {
    {
        COrvoRegistry seed;
        Open(seed);
        seed.WriteProfileInt("Hall", "ViewStyle", 1);
        seed.WriteProfileInt("List\\00", "Port", 80);
        seed.WriteProfileInt("List\\01", "Port", 81);
    }
    COrvoRegistry first;
    COrvoRegistry second;
    Open(first);
    Open(second);
    first.WriteProfileInt("Hall", "ViewStyle", 5);
    {
        const COrvoRegistry::Batch together(first);
        first.DeleteSection("List");
        first.WriteProfileInt("List\\00", "Port", 90);
    }
    ASSERT_TRUE(first.Close());
    {
        const COrvoRegistry::Batch together(second);
        second.WriteProfileInt("Hall", "ViewStyle", 1);
        second.WriteProfileInt("Hall", "PageIdx", 2);
        second.DeleteSection("List");
        second.WriteProfileInt("List\\01", "Port", 81);
        second.WriteProfileInt("list\\00", "PORT", 80);
        second.DeleteSection("Nothing");
    }
    ASSERT_TRUE(second.Close());
    EXPECT_EQ(Stored("Hall", "ViewStyle"), 5u);
    EXPECT_EQ(Stored("Hall", "PageIdx"), 2u);
    EXPECT_EQ(Stored("List\\00", "Port"), 90u);
    EXPECT_EQ(Stored("List\\01", "Port", 7), 7u);
}

// A section that was deleted goes whole, with what others put there; written again it has only that.
TEST_F(SettingsFileTest, ASectionThatIsReplacedIsReplacedWhole) {
    COrvoRegistry first;
    Open(first);
    first.WriteProfileInt("List\\00", "Port", 80);
    ASSERT_TRUE(kvtest::WaitUntil([&] { return Stored("List\\00", "Port") == 80; }));
    {
        COrvoRegistry second;
        Open(second);
        second.WriteProfileInt("List\\01", "Port", 81);
    }
    {
        const COrvoRegistry::Batch together(first);
        first.WriteProfileInt("List\\00", "Port", 82);
        first.DeleteSection("List\\00");
        first.DeleteSection("List");
        first.WriteProfileInt("List\\00", "User", 80);
    }
    EXPECT_EQ(first.GetProfileInt("List\\00", "Port", 7), 7u);
    ASSERT_TRUE(first.Close());
    EXPECT_EQ(Stored("List\\00", "Port", 7), 7u);
    EXPECT_EQ(Stored("List\\01", "Port", 7), 7u);
    EXPECT_EQ(Stored("List\\00", "User"), 80u);
}

// Whichever of many programs finds the damage, one sets the file aside, and no new one ever is.
TEST_F(SettingsFileTest, ManyProgramsSetADamagedFileAsideOnce) {
    constexpr int kPrograms = 8;
    for (const auto& damage : {Garbage, HoleInTheMiddle, Truncate, TableOfAnotherMake}) {
        for (int round = 0; round < 4; ++round) {
            for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
                std::filesystem::remove(entry.path());
            }
            Fill();
            damage(Db());
            int go[2] = {-1, -1};
            ASSERT_EQ(::pipe2(go, O_CLOEXEC), 0);
            std::vector<pid_t> programs;
            for (int i = 0; i < kPrograms; ++i) {
                programs.push_back(kvtest::ForkAlone());
                ASSERT_GE(programs.back(), 0);
                if (programs.back() == 0) {
                    ::close(go[1]);
                    char byte = 0;
                    [[maybe_unused]] const auto count = ::read(go[0], &byte, 1);  // all at once
                    [[maybe_unused]] const int quiet = ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);
                    COrvoRegistry registry;
                    Open(registry);
                    registry.WriteProfileInt("program", std::to_string(i), 1);
                    ::_exit(registry.Close(Milliseconds(20000)) ? 0 : 1);
                }
            }
            ::close(go[0]);
            ::close(go[1]);
            for (const pid_t program : programs) {
                int status = -1;
                ASSERT_EQ(::waitpid(program, &status, 0), program);
                EXPECT_EQ(status, 0);
            }
            EXPECT_THAT(SetAside(), SizeIs(1));
            COrvoRegistry after;
            Open(after);
            for (int i = 0; i < kPrograms; ++i) {
                EXPECT_EQ(after.GetProfileInt("program", std::to_string(i), 0), 1u) << i;
            }
        }
    }
}

TEST_F(SettingsFileTest, DamageAtTheStartIsToldInOneLineAndDefaultsUsed) {
    Fill();
    HoleInTheMiddle(Db());
    testing::internal::CaptureStderr();
    COrvoRegistry registry;
    Open(registry);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
    EXPECT_EQ(registry.GetProfileString("s3", "v", "d"), "d");
    EXPECT_TRUE(registry.WriteProfileInt("s3", "v", 4));
}

TEST_F(SettingsFileTest, DamageWhileTheProgramRunsLosesNothing) {
    Fill();
    COrvoRegistry registry;
    Open(registry);
    Garbage(Db());
    testing::internal::CaptureStderr();
    registry.WriteProfileInt("s", "v", 1);
    EXPECT_TRUE(registry.Close());
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
    EXPECT_THAT(SetAside(), SizeIs(1));
    EXPECT_EQ(Stored("s", "v"), 1u);
    COrvoRegistry after;
    Open(after);
    EXPECT_EQ(after.GetProfileString("s199", "v", "").size(), 100u);
}

TEST_F(SettingsFileTest, AFullDiskIsToldOnceAndTriedAgain) {
    std::signal(SIGXFSZ, SIG_IGN);
    Fill();
    COrvoRegistry registry;
    Open(registry);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit full = before;
    full.rlim_cur = 40000;
    testing::internal::CaptureStderr();
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
    for (int i = 0; i < 200; ++i) {
        EXPECT_TRUE(registry.WriteProfileString("big", std::to_string(i), std::string(2000, 'y')));
    }
    const auto told = [&] {
        std::fflush(stderr);
        struct stat status {};
        return ::fstat(STDERR_FILENO, &status) == 0 && status.st_size > 0;
    };
    EXPECT_TRUE(kvtest::WaitUntil(told));
    registry.WriteProfileInt("s", "v", 1);
    EXPECT_EQ(Stored("s0", "none"), 0u);  // what is stored is whole
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_TRUE(registry.Close());
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
    EXPECT_EQ(Stored("s", "v"), 1u);
}
