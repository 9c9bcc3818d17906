// The program and the files that it meets: pipes, folders that hang, half-written ones, and who may read
// them.
#include <gmock/gmock.h>

#include <grp.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <span>

#include "recorder_client.h"
#include "recorder_program.h"
#include "support/temp_folder.h"
#include "support/wait_until.h"

namespace kvtest {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class ProgramFiles : public testing::Test {
protected:
    // Only its owner can read it.
    std::string Write(const std::string& name, const std::string& text) {
        std::ofstream(folder.File(name)) << text;
        fs::permissions(folder.File(name), fs::perms(0600));
        return folder.File(name);
    }
    void MakePipe(const std::string& name) {
        fs::remove(folder.File(name));
        ASSERT_EQ(::mkfifo(folder.File(name).c_str(), 0600), 0);
    }
    std::vector<std::string> Arguments() const {
        return {"--listen",  "127.0.0.1:0",         "--config", folder.File("c.toml"),
                "--control", folder.File("control")};
    }
    std::string Command(const std::string& line) {
        return Program({"--control", folder.File("control"), "--send", line}).Wait().output;
    }
    static void EndsInTime(Program& program, int status) {
        const auto before = std::chrono::steady_clock::now();
        program.Signal(SIGTERM);
        EXPECT_EQ(program.Wait().status, status);
        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    }

    const TempFolder folder;
    const std::string admin =
        "[[users]]\nname=\"admin\"\npassword=\"secret\"\nrecord=\"all\"\ntalk=\"all\"\n";
    const std::string guard = "[[users]]\nname=\"guard\"\npassword=\"night\"\n";
};

TEST_F(ProgramFiles, PipesAreRefusedInWordsAtTheStart) {
    MakePipe("pipe");
    const std::pair<const char*, std::string> files[] = {
        {"a password from", "[[users]]\nname=\"a\"\npassword_file=\"pipe\"\n"},
        {"pipe is not a plain file", "[server]\nmap=\"pipe\"\n" + admin},
        {"cannot read", admin + "[[channels]]\naudio=true\nsound={file=\"pipe\"}\n"},
        {"cannot read", admin + "[[channels]]\nfile=\"pipe\"\n"},
    };
    for (const auto& [words, text] : files) {
        Write("c.toml", text);
        const Outcome outcome = Program(Arguments()).Wait();
        EXPECT_EQ(outcome.status, 2) << text;
        EXPECT_THAT(outcome.errors, testing::AllOf(HasSubstr(words), HasSubstr("not a plain file"))) << text;
    }
    MakePipe("c.toml");
    EXPECT_THAT(Program(Arguments()).Wait().errors, HasSubstr("not a plain file"));
}

TEST_F(ProgramFiles, PipesThatComeLaterHoldNothingUp) {
    Write("p", "secret\n");
    Write("map.jpg", "\xFF\xD8\xFF\xD9");
    Write("c.toml",
          "[server]\nmap=\"map.jpg\"\n[[users]]\nname=\"admin\"\npassword_file=\"p\"\n[[channels]]\n# end");
    Program program(Arguments());
    const std::uint16_t port = program.Port();
    const std::string picture = Get("/cgi-bin/data/images/emap.jpg");
    EXPECT_EQ(Fetch(port, picture).status, 200);
    MakePipe("map.jpg");
    for (int i = 0; i < 3; ++i) {  // more than there are threads
        EXPECT_EQ(Fetch(port, picture).status, 404);
    }
    EXPECT_THAT(Fetch(port, Get("/get_log_info.cgi?sec=60")).body, HasSubstr("not a plain file"));
    fs::remove(folder.File("map.jpg"));
    MakePipe("p");
    program.Signal(SIGHUP);
    EXPECT_THAT(program.ErrorLine(), HasSubstr("cannot read a password from"));
    EndsInTime(program, 0);
}

void HangWhat(std::span<sock_filter> filter) {
    sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    const long listener =
        ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program);
    // Nobody answers it, and it must stay open.
    if (listener < 0 || ::fcntl(static_cast<int>(listener), F_SETFD, 0) != 0) {
        ::_exit(98);
    }
}

// Makes the opening of recordings hang, as a folder of another machine would.
void HangRecordings() {
    std::array<sock_filter, 6> filter = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_openat, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    HangWhat(filter);
}

// The same for the look at the disk, which belongs to the start.
void HangDisk() {
    std::array<sock_filter, 4> filter = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_statfs, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    HangWhat(filter);
}

TEST_F(ProgramFiles, AFolderThatHangsDoesNotKeepTheProgram) {
    Write("c.toml", "[server]\nrecordings=\"rec\"\n" + admin + "[[channels]]\n");
    Program program(Arguments(), HangRecordings);
    const std::uint16_t port = program.Port();
    EXPECT_EQ(Command("record 0 on"), "ok\n");
    // Its first picture is on its way to a file when the stream has brought one.
    RecorderClient stream(port);
    stream.Send(Get("/cgi-bin/getstream.cgi?ch=0&stream_id=0 "));
    stream.ReadHead();
    EXPECT_EQ(stream.Read(2000).size(), 2000u);
    EndsInTime(program, 3);

    // While it starts nothing is lost by an end at once.
    Program start(Arguments(), HangDisk);
    const std::string status = "/proc/" + std::to_string(start.Process()) + "/syscall";
    ASSERT_TRUE(WaitUntil([&] {
        long call = -1;
        std::ifstream(status) >> call;
        return call == __NR_statfs;
    }));
    EndsInTime(start, -1);
}

TEST_F(ProgramFiles, AHalfWrittenConfigurationTakesNothingAway) {
    const std::string gate = "[[channels]]\nname=\"Gate\"\n";
    const std::string yard = "[[channels]]\nname=\"Yard\"\n";
    Write("c.toml", admin + guard + gate + yard);  // the start asks for no mark
    Program program(Arguments());
    const std::uint16_t port = program.Port();
    const auto names = [&](const char* credentials = "guard:night") {
        const auto lines = Lines(Fetch(port, Get("/z_status.cgi?user=u", credentials)).body);
        return lines.size() < 2 ? std::string() : lines[2] + (lines[1].substr(0, 5) == "00288" ? "+" : "-");
    };
    EXPECT_EQ(names(), "Gate+");
    Write("c.toml", admin + gate);
    program.Signal(SIGHUP);
    EXPECT_THAT(program.ErrorLine(), HasSubstr("its last line is not \"# end\""));
    EXPECT_EQ(names(), "Gate+");

    // Whole at each moment, and yet not what is meant in the end.
    Write("c.toml", admin + "[[channels]]\nname=\"Half\"\n# end\n");
    program.Signal(SIGHUP);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    Write("c.toml", admin + guard + "[[channels]]\nname=\"Door\"\n" + yard + "# end\n");
    EXPECT_EQ(program.ErrorLine(), "kvrecorder: configuration read again\n");
    EXPECT_EQ(names(), "Door+");

    Write("c.toml", admin + gate + "# end\n");
    program.Signal(SIGHUP);
    EXPECT_THAT(program.ErrorLine(), HasSubstr("user guard is not in the file any more"));
    EXPECT_THAT(program.ErrorLine(), HasSubstr("channel 1 is not in the file any more"));
    EXPECT_EQ(program.ErrorLine(), "kvrecorder: configuration read again\n");
    EXPECT_EQ(names(), "Gate+") << "kept for one more reading";
    program.Signal(SIGHUP);
    EXPECT_THAT(program.ErrorLine(), HasSubstr("user guard is taken away"));
    EXPECT_THAT(program.ErrorLine(), HasSubstr("channel 1 is taken away"));
    EXPECT_EQ(program.ErrorLine(), "kvrecorder: configuration read again\n");
    EXPECT_EQ(names(), "");
    EXPECT_EQ(names("admin:secret"), "Gate-");
}

TEST_F(ProgramFiles, WhatIsKeptIsItsOwnersOrTheGroups) {
    const struct group* const own = ::getgrgid(::getegid());
    ASSERT_NE(own, nullptr);
    for (const bool shared : {false, true}) {
        const std::string base = shared ? "shared" : "own";
        Write("c.toml", "[server]\nrecordings=\"" + base + "/rec\"\ntalk_folder=\"" + base + "/talk\"\n" +
                            (shared ? "group=\"" + std::string(own->gr_name) + "\"\n" : "") + admin +
                            "[[channels]]\ntalk=true\n");
        Program program(Arguments());
        const std::uint16_t port = program.Port();
        RecorderClient talker(port);
        talker.Send(Get("/cgi-bin/putaudiostream.cgi?ch=0 ") + "said");
        talker.ReadHead();
        EXPECT_EQ(Command("record 0 on"), "ok\n");
        for (const char* name : {"/rec", "/talk"}) {
            const fs::path inside = folder.File(base + name);
            EXPECT_TRUE(WaitUntil([&] { return fs::exists(inside) && !fs::is_empty(inside); })) << inside;
            const auto mode = [](const fs::path& path) {
                return static_cast<int>(fs::status(path).permissions());
            };
            EXPECT_EQ(mode(inside), shared ? 0750 : 0700) << inside;
            for (const auto& entry : fs::directory_iterator(inside)) {
                // Its owner's alone until it is given to the group.
                EXPECT_TRUE(WaitUntil([&] {
                    const int now = mode(entry.path());
                    EXPECT_THAT(now, testing::AnyOf(0600, shared ? 0640 : 0600)) << entry.path();
                    return now == (shared ? 0640 : 0600);
                })) << entry.path();
            }
        }
        EXPECT_EQ(Command("stop"), "ok\n");
        EXPECT_EQ(program.Wait().status, 0);
    }
}

TEST_F(ProgramFiles, SecretsThatOthersCanReadAreToldAndNoCoreIsLeft) {
    Write("p", "secret\n");
    Write("c.toml",
          "[server]\nrecordings=\".\"\n[[users]]\nname=\"admin\"\npassword_file=\"p\"\n"
          "[[users]]\nname=\"guard\"\npassword=\"secret\"\n[[channels]]\n");
    for (const char* name : {"", "p", "c.toml"}) {
        fs::permissions(folder.File(name), fs::perms(0755));
    }
    Program program(Arguments(), [this] {
        rlimit most{};
        ::getrlimit(RLIMIT_CORE, &most);
        most.rlim_cur = most.rlim_max;
        ::setrlimit(RLIMIT_CORE, &most);
        if (::chdir(folder.Path().c_str()) != 0) {
            ::_exit(97);
        }
    });
    program.Port();
    EXPECT_THAT(program.ErrorLine(), HasSubstr("others can read " + folder.File("c.toml")));
    EXPECT_THAT(program.ErrorLine(), HasSubstr("others can read " + folder.File("p")));
    EXPECT_THAT(program.ErrorLine(), HasSubstr("others can look into " + folder.Path()));
    program.Signal(SIGABRT);
    EXPECT_FALSE(program.Wait().core);
}

TEST_F(ProgramFiles, TheFileLimitIsRaisedAndCarriesTheConnections) {
    Program program({"--listen", "127.0.0.1:0", "--channels", "2"}, [] {
        const rlimit few{64, 200};
        ::setrlimit(RLIMIT_NOFILE, &few);
    });
    const std::uint16_t port = program.Port();
    EXPECT_EQ(program.ErrorLine(),
              "kvrecorder: max_connections is 130 instead of 1024: 200 open files carry no more\n");
    std::vector<RecorderClient> half;
    for (int i = 0; i < 300; ++i) {
        half.emplace_back(port);
        half.back().Send("GET /");
    }
    EXPECT_EQ(Fetch(port, Get("/get_init_info.cgi", "admin:admin")).status, 200);
}

}  // namespace
}  // namespace kvtest
