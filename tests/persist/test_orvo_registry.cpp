#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "persist/credential_store.h"
#include "persist/orvo_registry.h"
#include "support/fork_alone.h"
#include "support/temp_folder.h"

using namespace kvmon;

namespace {

RegistryApp AppOn(const kvtest::TempFolder& folder) {
    RegistryApp app;
    app.databasePath = folder.File("settings.db");
    app.iniPath = folder.File("settings.ini");
    return app;
}

// Both forms of the store keep the same promises.
class RegistryTest : public testing::TestWithParam<bool> {
protected:
    void SetUp() override { registry.InitRegistry(GetParam(), AppOn(folder)); }

    kvtest::TempFolder folder;
    COrvoRegistry registry;
};

// Runs the body in a process of its own.
template <typename Body>
pid_t InChild(Body body) {
    const pid_t child = kvtest::ForkAlone();
    if (child == 0) {
        ::_exit(body() ? 0 : 1);
    }
    return child;
}

INSTANTIATE_TEST_SUITE_P(Forms, RegistryTest, testing::Values(false, true),
                         [](const auto& form) { return form.param ? "Ini" : "Database"; });

TEST_P(RegistryTest, ValuesOutliveTheObject) {
    ASSERT_TRUE(registry.WriteProfileInt("View", "ViewStyle", 0xFFFFFFFF));
    ASSERT_TRUE(registry.WriteProfileString("", "Name", "Caf\xC3\xA9 = [x]"));
    ASSERT_TRUE(registry.WriteProfileInt("View", "ViewStyle", 7));
    ASSERT_TRUE(registry.Close());
    COrvoRegistry other;
    other.InitRegistry(GetParam(), AppOn(folder));
    EXPECT_EQ(other.GetProfileInt("view", "VIEWSTYLE", 1), 7u);
    EXPECT_EQ(other.GetProfileString("", "Name", "d"), "Caf\xC3\xA9 = [x]");
    EXPECT_EQ(other.GetProfileInt("View", "Missing", 5), 5u);
    EXPECT_EQ(other.GetProfileString("View", "Missing", "d"), "d");
}

TEST(SiteSettings, StandUnderTheUsersOwnAndHoldForEachSectionWhenTheySaySo) {
    const kvtest::TempFolder folder;
    std::ofstream(folder.File("site.ini"))
        << "; of all\n[main]\nLook=2\n[*]\nEnableAudio=1\nNoNumber=x\n[a]\nEnableAudio=0\n";
    RegistryApp app;
    app.databasePath = folder.File("settings.db");
    app.sitePath = folder.File("site.ini");
    COrvoRegistry registry;
    registry.InitRegistry(false, app);
    EXPECT_EQ(registry.GetProfileInt("", "look", 0), 2u);
    EXPECT_EQ(registry.GetProfileInt("127.0.0.1:80", "EnableAudio", 7), 1u);
    EXPECT_EQ(registry.GetProfileInt("a", "EnableAudio", 7), 0u);
    EXPECT_EQ(registry.GetProfileInt("a", "NoNumber", 7), 7u);
    EXPECT_EQ(registry.GetProfileString("a", "NoNumber", ""), "x");
    registry.WriteProfileInt("", "Look", 3);
    EXPECT_EQ(registry.GetProfileInt("", "Look", 0), 3u);
    registry.DeleteSection("a");
    EXPECT_EQ(registry.GetProfileInt("a", "EnableAudio", 7), 0u)
        << "what the user takes back is the site's again";

    std::string problem;
    SiteSettings::Load("/dev/zero", problem);
    EXPECT_NE(problem.find("/dev/zero cannot be read"), std::string::npos);
}

TEST_P(RegistryTest, BinaryComesBackAsFarAsItIsSound) {
    const std::uint8_t bytes[] = {0, 1, 0xAB, 0xFF};
    ASSERT_TRUE(registry.WriteProfileBinary("s", "b", bytes));
    EXPECT_EQ(registry.GetProfileString("s", "b", ""), GetParam() ? "00 01 AB FF" : "00 01 AB FF ");
    EXPECT_EQ(registry.GetProfileBinarySize("s", "b"), 4u);
    std::uint8_t two[2] = {};
    EXPECT_EQ(registry.GetProfileBinary("s", "b", two), 2u);
    EXPECT_EQ(two[1], 1);
    EXPECT_EQ(registry.GetProfileBinarySize("s", "missing"), 0u);
    registry.WriteProfileString("s", "b", "12 3Z 44");
    EXPECT_EQ(registry.GetProfileBinarySize("s", "b"), 1u);
}

TEST_P(RegistryTest, TextIsCutAtItsLimit) {
    registry.WriteProfileString("s", "long", std::string(3000, 'x'));
    EXPECT_EQ(registry.GetProfileString("s", "long", "").size(), 2304u);
}

TEST(RegistryDatabaseTest, KindsAreKeptApartAndBackslashesNotDoubled) {
    kvtest::TempFolder folder;
    COrvoRegistry registry;
    registry.InitRegistry(false, AppOn(folder));
    EXPECT_EQ(registry.GetRoot(), "Orvo\\kvmon");
    registry.WriteProfileString("s", "text", "12");
    EXPECT_EQ(registry.GetProfileInt("s", "text", 3), 3u);
    registry.WriteProfileInt("s", "number", 12);
    EXPECT_EQ(registry.GetProfileString("s", "number", "d"), "d");
    registry.WriteProfileInt("\\s", "number", 13);
    EXPECT_EQ(registry.GetProfileInt("s", "number", 0), 13u);
}

TEST_P(RegistryTest, SectionsAreListedAndDeletedAsTheFormHasIt) {
    registry.WriteProfileInt("MultiServer\\a@b:80", "Count", 2);
    registry.WriteProfileInt("MultiServer\\a@b:80\\00", "Port", 81);
    registry.WriteProfileInt("MultiServer\\a@b:800", "Count", 3);
    registry.WriteProfileInt("MultiServer", "Last", 5);
    registry.WriteProfileInt("MultiServers", "Count", 4);
    EXPECT_THAT(registry.GetSections("MultiServer"), testing::UnorderedElementsAre("a@b:80", "a@b:800"));
    // A section with all below it; the ini form knows entries by that name.
    EXPECT_TRUE(registry.DeleteSection("MultiServer", GetParam() ? "Last" : "a@b:80"));
    EXPECT_EQ(registry.GetProfileInt("MultiServer", "Last", 0), GetParam() ? 0u : 5u);
    EXPECT_EQ(registry.GetProfileInt("MultiServer\\a@b:80", "Count", 0), GetParam() ? 2u : 0u);
    EXPECT_EQ(registry.GetProfileInt("MultiServer\\a@b:80\\00", "Port", 0), GetParam() ? 81u : 0u);
    EXPECT_EQ(registry.GetProfileInt("MultiServer\\a@b:800", "Count", 0), 3u);
    EXPECT_EQ(registry.GetProfileInt("MultiServers", "Count", 0), 4u);
}

TEST(RegistryDatabaseTest, UnusableFolderLeavesAWorkingTree) {
    RegistryApp app;
    app.databasePath = "/proc/none/settings.db";
    testing::internal::CaptureStderr();
    COrvoRegistry registry;
    registry.InitRegistry(false, app);
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(registry.WriteProfileInt("s", "v", 4));
    EXPECT_EQ(registry.GetProfileInt("s", "v", 0), 4u);
}

// A client that dies in the middle of its writes leaves each value old or new, and a batch whole.
TEST(RegistryDatabaseTest, DeathInTheMiddleOfABatchLeavesTheOldValues) {
    kvtest::TempFolder folder;
    {
        COrvoRegistry registry;
        registry.InitRegistry(false, AppOn(folder));
        registry.WriteProfileInt("s", "a", 1);
        registry.WriteProfileInt("s", "b", 1);
    }
    const pid_t child = InChild([&] {
        COrvoRegistry registry;
        registry.InitRegistry(false, AppOn(folder));
        const COrvoRegistry::Batch batch(registry);
        registry.WriteProfileInt("s", "a", 2);
        return ::kill(::getpid(), SIGKILL) == 0;
    });
    int status = 0;
    ::waitpid(child, &status, 0);
    COrvoRegistry registry;
    registry.InitRegistry(false, AppOn(folder));
    EXPECT_EQ(registry.GetProfileInt("s", "a", 0), 1u);
    EXPECT_EQ(registry.GetProfileInt("s", "b", 0), 1u);
}

// Two programs that write the same file at the same time, each with two trees, whose locks are the process's.
TEST_P(RegistryTest, TwoProgramsLoseNothing) {
    ASSERT_TRUE(registry.Close());  // its thread does not live on in the children
    const auto client = [&](int number) {
        return InChild([&, number] {
            COrvoRegistry own[2];
            bool good = true;
            for (COrvoRegistry& tree : own) {
                tree.InitRegistry(GetParam(), AppOn(folder));
            }
            for (int i = 0; i < 50; ++i) {
                good = own[i % 2].WriteProfileInt("c" + std::to_string(number), std::to_string(i), 1) && good;
            }
            return good;
        });
    };
    const pid_t children[] = {client(0), client(1)};
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    COrvoRegistry after;
    after.InitRegistry(GetParam(), AppOn(folder));
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(after.GetProfileInt("c0", std::to_string(i), 0), 1u) << i;
        EXPECT_EQ(after.GetProfileInt("c1", std::to_string(i), 0), 1u) << i;
    }
}

// Killed at some moment of its writing, a program leaves a tree that opens, with a value that it wrote.
TEST_P(RegistryTest, DeathWhileWritingLeavesAWholeTree) {
    ASSERT_TRUE(registry.WriteProfileString("s", "text", std::string(2000, 'a')));
    ASSERT_TRUE(registry.Close());
    for (int round = 0; round < 5; ++round) {
        int ready[2] = {};
        ASSERT_EQ(::pipe(ready), 0);
        const pid_t child = InChild([&] {
            COrvoRegistry own;
            own.InitRegistry(GetParam(), AppOn(folder));
            for (int i = 0;; ++i) {
                own.WriteProfileString("s", "text", std::string(2000, static_cast<char>('a' + i % 26)));
                if (i == round * 3 && ::write(ready[1], "x", 1) != 1) {
                    return false;
                }
            }
        });
        char byte = 0;
        ASSERT_EQ(::read(ready[0], &byte, 1), 1);
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ::close(ready[0]);
        ::close(ready[1]);
        COrvoRegistry after;
        after.InitRegistry(GetParam(), AppOn(folder));
        const std::string text = after.GetProfileString("s", "text", "");
        ASSERT_EQ(text.size(), 2000u);
        EXPECT_EQ(text, std::string(2000, text[0]));
        EXPECT_TRUE(after.WriteProfileInt("s", "number", 1));
    }
}

TEST(RegistryDatabaseTest, SubtreeGoesWithoutRegardToCaseAndTheFileIsPrivate) {
    const kvtest::TempFolder folder;
    COrvoRegistry registry;
    registry.InitRegistry(false, AppOn(folder));
    registry.WriteProfileInt("EventLog\\001", "Level", 1);
    registry.WriteProfileInt("EventLog%", "Level", 1);
    EXPECT_TRUE(registry.DeleteSection("", "EVENTLOG"));
    EXPECT_EQ(registry.GetProfileInt("EventLog\\001", "Level", 0), 0u);
    EXPECT_EQ(registry.GetProfileInt("EventLog%", "Level", 0), 1u);
    const auto rights = std::filesystem::status(folder.File("settings.db")).permissions();
    EXPECT_EQ(rights & std::filesystem::perms(077), std::filesystem::perms::none);

    registry.Close();
    EXPECT_FALSE(std::filesystem::exists(folder.File("settings.db-wal")));
    EXPECT_EQ(registry.GetProfileInt("EventLog%", "Level", 7), 7u);
    EXPECT_FALSE(registry.WriteProfileInt("s", "v", 1));
    EXPECT_FALSE(registry.DeleteSection("s"));
    const COrvoRegistry::Batch batch(registry);
}

TEST(RegistryIniTest, NamesAndFilesThatCannotBeKeptAreRefused) {
    const kvtest::TempFolder folder;
    COrvoRegistry registry;
    registry.InitRegistry(true, AppOn(folder));
    registry.WriteProfileString("s", "good", "one\r\n[main]\nevil=1");
    EXPECT_EQ(registry.GetProfileString("", "evil", "d"), "d");
    EXPECT_FALSE(registry.WriteProfileInt("s", "a=b", 1));
    EXPECT_FALSE(registry.WriteProfileInt("s", "a\nb", 1));
    EXPECT_FALSE(registry.WriteProfileInt("s]\n[t", "a", 1));
    EXPECT_FALSE(registry.WriteProfileInt("s", "", 1));
    {
        std::ofstream file(folder.File("settings.ini"), std::ios::binary);
        file << "[s]\nx=" << std::string(5u << 20, 'y') << "\n";
    }
    const auto size = std::filesystem::file_size(folder.File("settings.ini"));
    EXPECT_EQ(registry.GetProfileString("s", "x", "d"), "d");
    EXPECT_FALSE(registry.WriteProfileInt("s", "v", 1));
    EXPECT_EQ(std::filesystem::file_size(folder.File("settings.ini")), size);
}

TEST(CredentialStoreTest, KnownAnswers) {
    // RC4 with the first five bytes of MD5("admin") and eleven zeros, over "p" and the password.
    EXPECT_EQ(EncryptString("", "admin").size(), 1u);
    const auto cipher = EncryptString("secret", "admin");
    EXPECT_EQ(cipher, (std::vector<std::uint8_t>{0xDE, 0xAB, 0x33, 0xD3, 0x5D, 0x32, 0x91}));
    EXPECT_EQ(DecryptString(cipher, "admin"), "secret");
    EXPECT_NE(DecryptString(cipher, "Admin"), "secret");
}

// Some key texts give the password a cipher with a zero in it.
TEST(CredentialStoreTest, EveryPasswordComesBack) {
    int nMasked = 0;
    for (int i = 0; i < 4000; ++i) {
        const std::string key = "user" + std::to_string(i);
        const auto cipher = EncryptString("pass\xC3\xA4word", key);
        EXPECT_EQ(std::find(cipher.begin(), cipher.end(), 0), cipher.end()) << key;
        EXPECT_EQ(DecryptString(cipher, key), "pass\xC3\xA4word") << key;
        nMasked += cipher.size() == 12 ? 1 : 0;
    }
    EXPECT_GT(nMasked, 0);
    std::string longest;
    for (int i = 0; i < 99; ++i) {
        longest += "\xE2\x82\xAC";
    }
    for (int i = 0; i < 300; ++i) {
        EXPECT_TRUE(CanEncryptPasswd("user" + std::to_string(i), longest)) << i;
    }
    EXPECT_FALSE(CanEncryptPasswd("user", longest + "x"));
    EXPECT_TRUE(CanEncryptPasswd(longest, "secret"));
    EXPECT_FALSE(CanEncryptPasswd("user", std::string("a\0b", 3)));
    // What an earlier version has cut stays cut.
    std::vector<std::uint8_t> old = EncryptString("secret", "admin");
    std::fill(old.begin() + 3, old.end(), std::uint8_t{0});
    EXPECT_EQ(DecryptString(old, "admin").substr(0, 2), "se");
    EXPECT_NE(DecryptString(old, "admin"), "secret");
}

TEST(CredentialStoreTest, StoresAndRefuses) {
    kvtest::TempFolder folder;
    COrvoRegistry registry;
    registry.InitRegistry(false, AppOn(folder));
    EXPECT_TRUE(SaveEncryptPasswd(registry, "s", "Passwd", "joe", "p\xC3\xA4ss"));
    EXPECT_EQ(GetEncryptPasswd(registry, "s", "Passwd", "joe"), "p\xC3\xA4ss");
    EXPECT_TRUE(SaveEncryptPasswd(registry, "s", "Passwd", "joe", ""));
    EXPECT_EQ(registry.GetProfileBinarySize("s", "Passwd"), 1u);
    EXPECT_EQ(GetEncryptPasswd(registry, "s", "Passwd", "joe"), "");
    EXPECT_FALSE(SaveEncryptPasswd(registry, "s", "Passwd", "joe", std::string(100, 'x')));
    std::string wide;
    for (int i = 0; i < 99; ++i) {
        wide += "\xE2\x82\xAC";  // characters count, not their bytes
    }
    EXPECT_TRUE(SaveEncryptPasswd(registry, "s", "Passwd", "joe", wide));
    EXPECT_EQ(GetEncryptPasswd(registry, "s", "Passwd", "joe"), wide);
    EXPECT_FALSE(GetEncryptPasswd(registry, "s", "Missing", "joe").has_value());
}

}  // namespace
