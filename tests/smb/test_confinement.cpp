// What the program that talks to a file server cannot do.
#include <gmock/gmock.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <iterator>

#include "smb/confinement.h"
#include "support/wait_until.h"

using namespace kvmon;
using testing::HasSubstr;

namespace {

// Tries something in a confined process of its own, which ends with what `attempt` gives.
template <typename Attempt>
[[noreturn]] void TryConfined(Attempt attempt) {
    ::_exit(ConfineProcess() ? attempt() : 99);
}

int ErrorOf(long result) {
    return result < 0 ? errno : 0;
}

}  // namespace

TEST(Confinement, WhatNobodyNeedsIsRefusedOrTheEnd) {
    EXPECT_EXIT(TryConfined([] { return ErrorOf(::socket(AF_INET, SOCK_STREAM, 0)); }),
                testing::ExitedWithCode(0), "");
    EXPECT_EXIT(TryConfined([] { return ErrorOf(::socket(AF_PACKET, SOCK_RAW, 0)); }),
                testing::ExitedWithCode(EPERM), "");
    EXPECT_EXIT(TryConfined([] { return ErrorOf(::listen(::socket(AF_UNIX, SOCK_STREAM, 0), 1)); }),
                testing::ExitedWithCode(EPERM), "");
    EXPECT_EXIT(TryConfined([] { return ErrorOf(::setuid(::getuid())); }), testing::ExitedWithCode(EPERM),
                "");
    EXPECT_EXIT(TryConfined([] {
                    rlimit limit{};
                    ::getrlimit(RLIMIT_CORE, &limit);
                    return limit.rlim_max == 0 ? 0 : 1;
                }),
                testing::ExitedWithCode(0), "");
    EXPECT_EXIT(TryConfined([] { return ErrorOf(::ptrace(PTRACE_ATTACH, ::getppid(), 0, 0)); }),
                testing::KilledBySignal(SIGSYS), "");
}

TEST(Confinement, TheProgramIsConfinedBeforeItIsToldAnything) {
    int input[2] = {-1, -1};
    ASSERT_EQ(::pipe(input), 0);
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        ::dup2(input[0], STDIN_FILENO);
        ::close(input[0]);
        ::close(input[1]);
        ::execl(KVMON_SHARES, KVMON_SHARES, nullptr);
        ::_exit(127);
    }
    const std::string file = "/proc/" + std::to_string(pid) + "/status";
    std::string status;
    EXPECT_TRUE(kvtest::WaitUntil([&] {
        std::ifstream stream(file);
        status.assign(std::istreambuf_iterator<char>(stream), {});
        return status.find("Seccomp:\t2") != std::string::npos;
    })) << status;
    EXPECT_THAT(status, HasSubstr("NoNewPrivs:\t1"));
    ::close(input[0]);
    ::close(input[1]);
    EXPECT_EQ(::waitpid(pid, nullptr, 0), pid);
}
