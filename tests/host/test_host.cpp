// What programs do with the machine that runs them: mistyped names, the manager of services, the journal.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "host/journal.h"
#include "host/near_name.h"
#include "host/service_manager.h"
#include "support/temp_folder.h"

namespace {

// Datagrams as a manager or a journal gets them.
class Receiver {
public:
    explicit Receiver(const std::string& path) : m_fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        EXPECT_EQ(::bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    }
    ~Receiver() { ::close(m_fd); }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    std::string Read() const {
        char bytes[4096];
        const ssize_t count = ::recv(m_fd, bytes, sizeof(bytes), MSG_DONTWAIT);
        return {bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }

private:
    const int m_fd;
};

}  // namespace

TEST(NearName, IsTheOneThatWasMostLikelyMeant) {
    const std::vector<std::string> names = {"--server", "--serve", "--server-name", "--port", "--look"};
    EXPECT_EQ(kvhost::NearName("--sevrer", names), "--server");
    EXPECT_EQ(kvhost::NearName("--prot", names), "--port");
    EXPECT_EQ(kvhost::NearName("--password", names), "") << "nothing is near";
    EXPECT_EQ(kvhost::NearName("ab", {"ac", "ad"}), "") << "two are as near";
    EXPECT_EQ(kvhost::NearName(std::string(100'000, 'x'), names), "");
}

TEST(NearName, NothingOfAMistypedLineButTheOptionIsRepeated) {
    EXPECT_EQ(kvhost::DescribeExtras({"sesame", "--pasword-file=sesame"}, {"--password-file"}),
              "unknown option --pasword-file; did you mean --password-file?");
    EXPECT_EQ(kvhost::DescribeExtras({"sesame"}, {"--port"}), "an argument that belongs to no option");
}

TEST(ServiceManager, HearsStatesAtItsSocketAndNothingBreaksWithoutOne) {
    const kvtest::TempFolder folder;
    const Receiver manager(folder.File("notify"));
    ::setenv("NOTIFY_SOCKET", folder.File("notify").c_str(), 1);
    kvhost::TellManager("READY=1");
    EXPECT_EQ(manager.Read(), "READY=1");
    kvhost::TellManager(kvhost::ReloadingState());
    EXPECT_TRUE(manager.Read().starts_with("RELOADING=1\nMONOTONIC_USEC="));
    for (const char* const odd : {"/nowhere/at/all", "relative", ""}) {
        ::setenv("NOTIFY_SOCKET", odd, 1);
        kvhost::TellManager("READY=1");
    }
    ::unsetenv("NOTIFY_SOCKET");

    ::setenv("WATCHDOG_USEC", "3000000", 1);
    EXPECT_EQ(kvhost::WatchdogPause(), std::chrono::milliseconds(1500));
    ::setenv("WATCHDOG_PID", "1", 1);
    EXPECT_EQ(kvhost::WatchdogPause(), std::nullopt) << "another process is asked";
    ::unsetenv("WATCHDOG_USEC");
    ::unsetenv("WATCHDOG_PID");
}

TEST(ServiceManager, CredentialsAreFilesOfItsFolderAlone) {
    const kvtest::TempFolder folder;
    std::ofstream(folder.File("token")) << "secret\n";
    std::ofstream(folder.File("none")) << "\n";
    ::setenv("CREDENTIALS_DIRECTORY", folder.Path().c_str(), 1);
    EXPECT_EQ(kvhost::CredentialFile("token"), folder.File("token"));
    EXPECT_EQ(kvhost::CredentialFile("none"), "") << "as units set it where there is none";
    EXPECT_EQ(kvhost::CredentialFile("../" + folder.Path()), "");
    ::unsetenv("CREDENTIALS_DIRECTORY");
    EXPECT_EQ(kvhost::CredentialFile("token"), "");
}

TEST(Journal, GetsLinesWithFieldsWhenStandardErrorLeadsToIt) {
    const kvtest::TempFolder folder;
    const Receiver journal(folder.File("journal"));
    struct stat found {};
    ASSERT_EQ(::fstat(STDERR_FILENO, &found), 0);
    ::setenv("JOURNAL_STREAM", (std::to_string(found.st_dev) + ":" + std::to_string(found.st_ino)).c_str(),
             1);
    kvhost::Journal("program", folder.File("journal"))
        .Tell({kvhost::Level::Warning, "refused", {{"KV_USER", "two\nlines"}, {"KV_ADDRESS", "192.0.2.7"}}});
    ::unsetenv("JOURNAL_STREAM");
    const std::string message = journal.Read();
    EXPECT_TRUE(message.starts_with("MESSAGE=refused\nPRIORITY=4\nSYSLOG_IDENTIFIER=program\n")) << message;
    // A line's end in a value begins no field.
    using namespace std::string_literals;
    EXPECT_NE(message.find("KV_USER\n\x09\0\0\0\0\0\0\0two\nlines\nKV_ADDRESS=192.0.2.7\n"s),
              std::string::npos);
    kvhost::Journal("program", folder.File("journal")).Tell({kvhost::Level::Warning, "for the terminal", {}});
    EXPECT_EQ(journal.Read(), "");
}
