// The program as a process: how it starts and, whatever the network does, how it ends.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QtGui/QImage>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "support/fake_recorder.h"
#include "support/file_holder.h"
#include "support/fork_alone.h"
#include "support/temp_folder.h"
#include "support/wait_until.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Peer;
using kvtest::ScriptedServer;
using testing::HasSubstr;
using testing::Not;

namespace {

// The program sees to its own end within 4.8 s; the rest is for a machine that has much else to do.
constexpr std::chrono::seconds kEndLimit{15};

class Program : public testing::Test {
protected:
    ~Program() override {
        if (pid > 0) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
    }

    void Start(const std::vector<std::string>& told) {
        std::vector<std::string> args{KVMON_PROGRAM, "--data-dir", folder.File("data")};
        args.insert(args.end(), told.begin(), told.end());
        std::vector<char*> argv;
        for (std::string& arg : args) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        ::setenv("QT_QPA_PLATFORM", platform.c_str(), 1);
        posix_spawn_file_actions_t files;
        ::posix_spawn_file_actions_init(&files);
        ::posix_spawn_file_actions_addopen(&files, STDERR_FILENO, folder.File("out").c_str(),
                                           O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ASSERT_EQ(::posix_spawn(&pid, argv[0], &files, nullptr, argv.data(), environ), 0);
        ::posix_spawn_file_actions_destroy(&files);
    }
    void StartAt(std::uint16_t port) {
        std::ofstream(folder.File("password")) << "hunter2\n";
        Start({"--server", "127.0.0.1", "--port", std::to_string(port), "--user", "admin", "--password-file",
               folder.File("password"), "--auto-start"});
    }
    // The exit status; -1 if it was killed or is still there at the time's end.
    int WaitForEnd(std::chrono::milliseconds time) {
        int status = 0;
        if (!kvtest::WaitUntil([&] { return ::waitpid(pid, &status, WNOHANG) == pid; }, time)) {
            return -1;
        }
        pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    int Terminate(int signal = SIGTERM) {
        ::kill(pid, signal);
        return WaitForEnd(kEndLimit);
    }
    std::string ReadFile(const std::string& path) const {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void OpenSettings(COrvoRegistry& registry) const {
        CreateFolder(folder.File("data"));
        RegistryApp app;
        app.databasePath = folder.File("data/settings.db");
        registry.InitRegistry(false, app);
    }

    const std::string kAuth = "YWRtaW46aHVudGVyMg==";  // admin:hunter2
    kvtest::TempFolder folder;
    std::string platform = "offscreen";
    pid_t pid = -1;
};

}  // namespace

TEST_F(Program, WrongOptionsEndWithStatusTwo) {
    Start({"--password=hunter2"});
    EXPECT_EQ(WaitForEnd(kEndLimit), 2);
    EXPECT_THAT(ReadFile(folder.File("out")), Not(HasSubstr("hunter2")));
}

TEST_F(Program, AMistypedOptionIsToldWithTheOneThatWasMeant) {
    Start({"--pasword-file=hunter2"});
    EXPECT_EQ(WaitForEnd(kEndLimit), 2);
    EXPECT_EQ(
        ReadFile(folder.File("out")),
        "kvmon: unknown option --pasword-file; did you mean --password-file? (--help lists the options)\n");
}

TEST_F(Program, AConnectionIsCheckedWithoutAWindow) {
    platform = "no such platform";
    FakeRecorder recorder("North", 3);
    const std::string port = std::to_string(recorder.Port());
    Start({"--check-connection", "--server", "127.0.0.1", "--port", port, "--auth", kAuth});
    EXPECT_EQ(WaitForEnd(kEndLimit), 0);
    recorder.RefuseLogins(true);
    Start({"--check-connection", "--server", "127.0.0.1", "--port", port, "--auth", kAuth});
    EXPECT_EQ(WaitForEnd(kEndLimit), 1);
    EXPECT_THAT(ReadFile(folder.File("out")), HasSubstr("password"));
}

TEST_F(Program, BeginsWithTheSitesSettingsWhereTheUserHasNone) {
    FakeRecorder sites("Site", 1);
    FakeRecorder users("User", 1);
    std::ofstream(folder.File("site.ini"))
        << "[Desktop]\nServerIP=127.0.0.1\nServerPort=" << sites.Port() << "\n";
    ::setenv("KVMON_SITE_SETTINGS", folder.File("site.ini").c_str(), 1);
    Start({"--auth", kAuth, "--auto-start"});
    EXPECT_TRUE(kvtest::WaitUntil([&] { return !sites.RequestLines("GET").empty(); }));
    EXPECT_EQ(Terminate(), 0);
    {
        COrvoRegistry registry;
        OpenSettings(registry);
        registry.WriteProfileInt("Desktop", "ServerPort", users.Port());
    }
    Start({"--auth", kAuth, "--auto-start"});
    EXPECT_TRUE(kvtest::WaitUntil([&] { return !users.RequestLines("GET").empty(); }));
    EXPECT_EQ(Terminate(), 0);
    ::unsetenv("KVMON_SITE_SETTINGS");
}

TEST_F(Program, AsAServiceItServesTheSocketAndTokenItIsHandedAndTellsNobodyTheToken) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(place);
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&place), length), 0);
    ASSERT_EQ(::listen(listener, 8), 0);
    ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&place), &length), 0);
    sockaddr_un manager{};
    manager.sun_family = AF_UNIX;
    std::strncpy(manager.sun_path, folder.File("notify").c_str(), sizeof(manager.sun_path) - 1);
    const int states = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_EQ(::bind(states, reinterpret_cast<sockaddr*>(&manager), sizeof(manager)), 0);
    std::ofstream(folder.File("kvmon.token")) << "0123456789abcdef\n";

    pid = kvtest::ForkAlone();
    ASSERT_GE(pid, 0) << "other tests of this run left threads: run it alone, as CTest does";
    if (pid == 0) {
        const int out = ::open(folder.File("out").c_str(), O_WRONLY | O_CREAT, 0600);
        ::dup2(out, 1);
        ::dup2(out, 2);
        ::dup2(listener, 3);
        ::setenv("LISTEN_FDS", "1", 1);
        ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
        ::setenv("NOTIFY_SOCKET", manager.sun_path, 1);
        ::setenv("CREDENTIALS_DIRECTORY", folder.Path().c_str(), 1);
        ::execl(KVMON_PROGRAM, KVMON_PROGRAM, "--serve", "127.0.0.1:1", nullptr);
        ::_exit(127);
    }
    ::close(listener);
    char state[64] = {};
    EXPECT_GT(::recv(states, state, sizeof(state) - 1, 0), 0);
    EXPECT_STREQ(state, "READY=1");
    const std::string origin = "127.0.0.1:" + std::to_string(ntohs(place.sin_port));
    const int client = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(::connect(client, reinterpret_cast<sockaddr*>(&place), length), 0);
    const std::string request =
        "GET /control?token=0123456789abcdef HTTP/1.1\r\nHost: " + origin + "\r\n\r\n";
    EXPECT_EQ(::send(client, request.data(), request.size(), 0), static_cast<ssize_t>(request.size()));
    char answer[64] = {};
    EXPECT_GT(::recv(client, answer, sizeof(answer) - 1, 0), 0);
    EXPECT_THAT(answer, testing::StartsWith("HTTP/1.1 426")) << "the token is right";
    ::close(client);
    EXPECT_EQ(Terminate(), 0);
    EXPECT_EQ(ReadFile(folder.File("out")).substr(0, 200), "kvmon: open http://" + origin + "/\n");
    ::close(states);
}

TEST_F(Program, EndsInOrderWhileARecorderIsSilent) {
    ScriptedServer server([](Peer& peer) {
        peer.ReadHead();
        peer.Hold();
    });
    Start(
        {"--server", "127.0.0.1", "--port", std::to_string(server.Port()), "--auth", kAuth, "--auto-start"});
    ASSERT_TRUE(server.WaitForHeads(1));
    EXPECT_THAT(ReadFile(folder.File("out")), HasSubstr("kvmon: --auth: others could read the password"));
    const std::string commandLine = ReadFile("/proc/" + std::to_string(pid) + "/cmdline");
    EXPECT_THAT(commandLine, HasSubstr("--auth"));
    EXPECT_THAT(commandLine, Not(HasSubstr(kAuth)));
    EXPECT_EQ(Terminate(), 0);
}

TEST_F(Program, EndsInOrderWhileARecorderFloods) {
    ScriptedServer server([](Peer& peer) {
        peer.ReadHead();
        const std::string noise(65536, 'x');
        peer.Write("HTTP/1.0 200 OK\r\n\r\n");
        while (peer.Write(noise)) {
        }
    });
    StartAt(server.Port());
    ASSERT_TRUE(server.WaitForHeads(1));
    EXPECT_EQ(Terminate(SIGINT), 0);
}

TEST_F(Program, EndsInOrderWithAWallOfStreamsThatWentSilentAndKeepsTheView) {
    FakeRecorder recorder("Hall", 40);
    {
        COrvoRegistry registry;
        OpenSettings(registry);
        registry.WriteProfileInt("Hall", "ViewStyle", 8);
        registry.WriteProfileInt("Hall\\CustomChannelStyle", "Style", 5);
        registry.WriteProfileInt("Hall", "MaxViewMode", 0);
    }
    StartAt(recorder.Port());
    ASSERT_TRUE(kvtest::WaitUntil([&] { return recorder.StreamRequestCount() >= 40; }));
    recorder.GoSilent();
    EXPECT_EQ(Terminate(), 0);

    COrvoRegistry registry;
    OpenSettings(registry);
    EXPECT_EQ(registry.GetProfileInt("Hall", "ViewStyle", 0), 8u);
    EXPECT_EQ(registry.GetProfileInt("Hall", "4ChListCurActIdx", 77), 0u);
    EXPECT_EQ(registry.GetProfileInt("Hall", "MaxViewMode", 7), 0u);
}

TEST_F(Program, EndsInOrderWithAWallOnEachDisplayAndKeepsThemApart) {
    FakeRecorder recorder("Hall", 4);
    {
        COrvoRegistry registry;
        OpenSettings(registry);
        registry.WriteProfileInt("Walls", "AllDisplays", 1);
        registry.WriteProfileInt("Hall", "ViewStyle", 0);
        registry.WriteProfileInt("Walls\\C\\Hall", "ViewStyle", 2);
    }
    platform = "offscreen:configfile=" KV_THREE_SCREENS;
    StartAt(recorder.Port());
    // One camera in the window, four and, by default, four on the other displays.
    ASSERT_TRUE(kvtest::WaitUntil([&] { return recorder.StreamRequestCount() >= 9; }));
    recorder.GoSilent();
    EXPECT_EQ(Terminate(), 0);

    COrvoRegistry registry;
    OpenSettings(registry);
    EXPECT_EQ(registry.GetProfileInt("Hall", "ViewStyle", 77), 0u);
    EXPECT_EQ(registry.GetProfileInt("Walls\\B\\Hall", "ViewStyle", 77), 2u);
    EXPECT_EQ(registry.GetProfileInt("Walls\\C\\Hall", "ViewStyle", 77), 2u);
}

TEST_F(Program, EndsAtOnceWithNobodyThere) {
    StartAt(kvtest::UnusedPort());
    ASSERT_TRUE(kvtest::WaitUntil([&] { return FileExists(folder.File("data/~Monitor.tmp")); }));
    EXPECT_EQ(Terminate(), 0);
}

// It holds passwords: a crash writes none of them to the disk, while another program's leaves all it had.
TEST_F(Program, LeavesNoCoreImage) {
    const auto dumps = [this](bool bProgram) {
        const pid_t crashed = kvtest::ForkAlone();
        EXPECT_GE(crashed, 0);
        if (crashed == 0) {
            rlimit limit{};
            ::getrlimit(RLIMIT_CORE, &limit);
            limit.rlim_cur = limit.rlim_max;
            ::setrlimit(RLIMIT_CORE, &limit);
            if (::chdir(folder.Path().c_str()) != 0 || !bProgram) {
                std::abort();
            }
            ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
            ::execl(KVMON_PROGRAM, KVMON_PROGRAM, "--data-dir", folder.File("data").c_str(), nullptr);
            ::_exit(127);
        }
        if (bProgram) {
            EXPECT_TRUE(kvtest::WaitUntil([&] { return FileExists(folder.File("data/settings.db")); }));
            ::kill(crashed, SIGABRT);
        }
        int status = 0;
        EXPECT_EQ(::waitpid(crashed, &status, 0), crashed);
        EXPECT_TRUE(WIFSIGNALED(status));
        return WCOREDUMP(status) != 0;
    };
    if (!dumps(false)) {
        GTEST_SKIP() << "this machine writes no core images";
    }
    EXPECT_FALSE(dumps(true));
}

TEST_F(Program, SettingsThatOthersCanReadAreTold) {
    {
        COrvoRegistry registry;
        OpenSettings(registry);
        registry.WriteProfileInt("Window", "Width", 1000);
    }
    ::chmod(folder.Path().c_str(), 0755);
    ::chmod(folder.File("data").c_str(), 0755);
    for (const mode_t mode : {0600, 0644}) {
        ::chmod(folder.File("data/settings.db").c_str(), mode);
        Start({"--picture", folder.File("p.png"), "--picture-after", "0"});
        EXPECT_EQ(WaitForEnd(kEndLimit), 0);
        EXPECT_EQ(ReadFile(folder.File("out")).find("others can read the settings file") != std::string::npos,
                  mode == 0644);
    }
}

TEST_F(Program, SavesAPictureAndEnds) {
    FakeRecorder recorder("Hall", 4);
    const std::string file = folder.File("wall.png");
    Start({"--port", std::to_string(recorder.Port()), "--auth", kAuth, "--auto-start", "--picture", file,
           "--picture-after", "0.2"});
    EXPECT_EQ(WaitForEnd(std::chrono::seconds(20)), 0);
    EXPECT_EQ(QImage(QString::fromStdString(file)).size(), QSize(1000, 680));
    Start({"--picture", folder.File("missing/wall.png"), "--picture-after", "0"});
    EXPECT_EQ(WaitForEnd(std::chrono::seconds(20)), 1);
    EXPECT_THAT(ReadFile(folder.File("out")), HasSubstr("could not be written"));
}

// What is changed last, the window's place, is written when the lock goes, or told as lost at the end's
// limit.
TEST_F(Program, EndsInTimeWhileAnotherProgramHoldsTheSettings) {
    for (const bool bReleased : {true, false}) {
        {
            COrvoRegistry registry;
            OpenSettings(registry);
            registry.DeleteSection("Window");
        }
        StartAt(kvtest::UnusedPort());
        std::filesystem::remove(folder.File("data/~Monitor.tmp"));
        ASSERT_TRUE(kvtest::WaitUntil([&] { return FileExists(folder.File("data/~Monitor.tmp")); }));
        kvtest::FileHolder holder(folder.File("data/settings.db"));
        ASSERT_TRUE(holder.IsHeld());
        ::kill(pid, SIGTERM);
        if (bReleased) {
            // The program has come to its writing when it no longer answers to the lock alone.
            EXPECT_EQ(WaitForEnd(std::chrono::milliseconds(1000)), -1);
            holder.Release();
        }
        EXPECT_EQ(WaitForEnd(kEndLimit), 0);
        holder.Release();
        COrvoRegistry registry;
        OpenSettings(registry);
        EXPECT_EQ(registry.GetProfileInt("Window", "Width", 0), bReleased ? 1000u : 0u);
        const std::string told = ReadFile(folder.File("out"));
        EXPECT_EQ(told.find("could not be written") != std::string::npos, !bReleased) << told;
        const auto first = told.find("kvmon: ");  // the toolkit has lines of its own
        EXPECT_EQ(first != std::string::npos, !bReleased) << told;
        EXPECT_TRUE(bReleased || told.find("kvmon: ", first + 1) == std::string::npos) << told;
    }
}

TEST_F(Program, PropertiesAreKeptWhenAskedAndOthersHoldForTheirRun) {
    ScriptedServer server([](Peer& peer) {
        peer.ReadHead();
        peer.Write("HTTP/1.0 401 Unauthorized\r\n\r\n");
    });
    const std::vector<std::string> port{"--port", std::to_string(server.Port())};
    const std::vector<std::string> picture{"--picture", folder.File("p.png"), "--picture-after", "0"};
    const auto run = [&](std::vector<std::string> args) {
        args.insert(args.end(), picture.begin(), picture.end());
        Start(args);
        EXPECT_EQ(WaitForEnd(std::chrono::seconds(20)), 0);
    };
    run({"--language", "7", "--port", port[1], "--auth", kAuth});
    {
        COrvoRegistry registry;
        OpenSettings(registry);
        EXPECT_EQ(registry.GetProfileInt("Desktop", "Language", 99), 99u);
        EXPECT_EQ(registry.GetProfileInt("Desktop", "ServerPort", 99), 99u);
    }
    run({"--keep", "--language", "6", "--port", port[1], "--auth", kAuth});
    EXPECT_THAT(ReadFile(folder.File("data/settings.db")), Not(HasSubstr("hunter2")));
    EXPECT_THAT(ReadFile(folder.File("data/settings.db")), Not(HasSubstr(kAuth)));
    run({"--language", "7", "--port", std::to_string(kvtest::UnusedPort())});
    {
        COrvoRegistry registry;
        OpenSettings(registry);
        EXPECT_EQ(registry.GetProfileInt("Desktop", "Language", 99), 6u);
        EXPECT_EQ(registry.GetProfileInt("Desktop", "ServerPort", 99), server.Port());
        EXPECT_EQ(registry.GetProfileInt("Desktop", "AutoStart", 99), 99u);
    }
    // Recorder and login come from what is kept.
    Start({"--auto-start"});
    ASSERT_TRUE(server.WaitForHeads(1));
    EXPECT_THAT(server.Heads()[0], HasSubstr("Basic " + kAuth));
    EXPECT_EQ(Terminate(), 0);
    // Another recorder does not get this one's login.
    ScriptedServer other([](Peer& peer) { peer.ReadHead(); });
    Start({"--auto-start", "--port", std::to_string(other.Port()), picture[0], picture[1], picture[2], "2"});
    EXPECT_EQ(WaitForEnd(std::chrono::seconds(20)), 0);
    for (const std::string& head : other.Heads()) {
        EXPECT_THAT(head, Not(HasSubstr(kAuth)));
    }
}
