// kvrecorder as a service: what its manager and its administrator hear of it.
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "recorder_program.h"
#include "service_fixture.h"
#include "support/temp_folder.h"

namespace kvtest {
namespace {

namespace fs = std::filesystem;

void Write(const std::string& path, const std::string& text, fs::perms rights = fs::perms(0600)) {
    std::ofstream(path) << text;
    fs::permissions(path, rights);
}

constexpr const char* kUser = "[[users]]\nname=\"guard\"\npassword=\"sesame\"\n";

}  // namespace

TEST(RecorderService, ItsManagerHearsOfStartLifeReloadAndEnd) {
    const TempFolder folder;
    const std::string path = folder.File("notify");
    const int manager = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(::bind(manager, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    // Of the signs of life the next alone matters.
    const auto next = [manager](const std::string& wanted) {
        char bytes[256];
        std::string got;
        do {
            const ssize_t count = ::recv(manager, bytes, sizeof(bytes), 0);
            got.assign(bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        } while (got == "WATCHDOG=1" && wanted != got);
        return got;
    };
    Write(folder.File("config.toml"), std::string(kUser) + "# end\n");
    Program program({"--listen", "127.0.0.1:0", "--config", folder.File("config.toml")}, [&path] {
        ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
        ::setenv("WATCHDOG_USEC", "100000", 1);
    });
    EXPECT_EQ(next("READY=1"), "READY=1");
    EXPECT_EQ(next("WATCHDOG=1"), "WATCHDOG=1");
    program.Signal(SIGHUP);
    EXPECT_TRUE(next("RELOADING=1").starts_with("RELOADING=1\nMONOTONIC_USEC="));
    EXPECT_EQ(next("READY=1"), "READY=1");
    program.Signal(SIGTERM);
    EXPECT_EQ(next("STOPPING=1"), "STOPPING=1");
    EXPECT_EQ(program.Wait().status, 0);
    ::close(manager);
}

TEST(RecorderService, ACheckTellsAllThatIsWrongBeforeAnythingStarts) {
    const TempFolder folder;
    const std::string file = folder.File("config.toml");
    Write(file, kUser);
    const Outcome right = Program({"--check", file}).Wait();
    EXPECT_EQ(right.status, 0);
    EXPECT_EQ(right.output, "kvrecorder: " + file + " is right\n");
    Write(file, "[server]\nname = \"North\"\n", fs::perms(0644));
    EXPECT_EQ(Program({"--check", file}).Wait().status, 0) << "there is no password in it";

    Write(file, "lisen = \"127.0.0.1:0\"\n");
    const Outcome key = Program({"--check", file}).Wait();
    EXPECT_EQ(key.status, 2);
    EXPECT_NE(key.errors.find(":1: unknown key \"lisen\"; did you mean \"listen\"?"), std::string::npos)
        << key.errors;

    Write(file,
          "[server]\nrecordings = \"/dev/null/below\"\n" + std::string(kUser) +
              "ptz = [0, 7]\n[[channels]]\nname=\"One\"\n",
          fs::perms(0644));
    const Outcome more = Program({"--check", file}).Wait();
    EXPECT_EQ(more.status, 2);
    for (const char* const words : {"user \"guard\": ptz: there is no channel 7, the last is 0",
                                    "recordings: /dev/null is no folder", "others can read "}) {
        EXPECT_NE(more.errors.find(words), std::string::npos) << more.errors;
    }
    EXPECT_EQ(more.output, "");
}

// Filters of other programs read these lines.
TEST(RecorderService, SignInsAreToldWithTheAddressBeforeTheName) {
    const TempFolder folder;
    Write(folder.File("config.toml"), kUser);
    Program program({"--listen", "127.0.0.1:0", "--config", folder.File("config.toml")});
    const std::uint16_t port = program.Port();
    Fetch(port, Get("/get_init_info.cgi", "guard\nsign-in refused from 192.0.2.9 of x:wrong"));
    EXPECT_EQ(program.ErrorLine(),
              "kvrecorder: sign-in refused from 127.0.0.1 of guard?sign-in refused from 192.0.2.9 of x\n");
    Fetch(port, Get("/get_init_info.cgi", "guard:sesame"));
    EXPECT_EQ(program.ErrorLine(), "kvrecorder: sign-in accepted from 127.0.0.1 of guard\n");
}

TEST(RecorderService, APasswordFileMayBeACredential) {
    const TempFolder folder;
    Write(folder.File("user"), "sesame\n");
    Program program({"--listen", "127.0.0.1:0", "--user", "guard", "--password-file", "@user"},
                    [&folder] { ::setenv("CREDENTIALS_DIRECTORY", folder.Path().c_str(), 1); });
    EXPECT_TRUE(
        Fetch(program.Port(), Get("/get_init_info.cgi", "guard:sesame")).head.starts_with("HTTP/1.0 200"));

    // Before its start an administrator checks what will be handed on.
    const std::string file = folder.File("kvrecorder.toml");
    Write(file, "[[users]]\nname=\"guard\"\npassword_file=\"@user\"\n# end\n");
    const Outcome missing = Program({"--check", file}).Wait();
    EXPECT_EQ(missing.status, 2);
    EXPECT_NE(missing.errors.find("/kvrecorder.credentials/user: there is no such file"), std::string::npos)
        << missing.errors;
    fs::create_directory(folder.File("kvrecorder.credentials"));
    Write(folder.File("kvrecorder.credentials/user"), "sesame\n");
    const Outcome right = Program({"--check", file}).Wait();
    EXPECT_EQ(right.status, 0) << right.errors;
}

}  // namespace kvtest
