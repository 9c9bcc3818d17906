#include "smb/confinement.h"

#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/sanitized.h"

namespace kvmon {

namespace {

constexpr rlim_t kMegabyte = 1024 * 1024;

struct Limit {
    __rlimit_resource what;
    rlim_t most;
};
constexpr Limit kLimits[] = {
    {RLIMIT_CORE, 0},
    {RLIMIT_NOFILE, 256},
    {RLIMIT_FSIZE, 64 * kMegabyte},  // the library's own caches
    {RLIMIT_CPU, 120},               // seconds: it waits nearly all the time
#if !defined(KV_SANITIZED_ADDRESS) && !defined(KV_SANITIZED_THREAD)
    {RLIMIT_DATA, 1024 * kMegabyte},
#endif
};

constexpr int kFileCalls[] = {
    SCMP_SYS(read),       SCMP_SYS(readv),       SCMP_SYS(pread64),    SCMP_SYS(preadv),
    SCMP_SYS(write),      SCMP_SYS(writev),      SCMP_SYS(pwrite64),   SCMP_SYS(pwritev),
    SCMP_SYS(open),       SCMP_SYS(openat),      SCMP_SYS(openat2),    SCMP_SYS(creat),
    SCMP_SYS(close),      SCMP_SYS(close_range), SCMP_SYS(lseek),      SCMP_SYS(stat),
    SCMP_SYS(fstat),      SCMP_SYS(lstat),       SCMP_SYS(newfstatat), SCMP_SYS(statx),
    SCMP_SYS(access),     SCMP_SYS(faccessat),   SCMP_SYS(faccessat2), SCMP_SYS(readlink),
    SCMP_SYS(readlinkat), SCMP_SYS(getdents),    SCMP_SYS(getdents64), SCMP_SYS(getcwd),
    SCMP_SYS(chdir),      SCMP_SYS(fchdir),      SCMP_SYS(mkdir),      SCMP_SYS(mkdirat),
    SCMP_SYS(rename),     SCMP_SYS(renameat),    SCMP_SYS(renameat2),  SCMP_SYS(unlink),
    SCMP_SYS(unlinkat),   SCMP_SYS(rmdir),       SCMP_SYS(link),       SCMP_SYS(linkat),
    SCMP_SYS(ftruncate),  SCMP_SYS(truncate),    SCMP_SYS(fallocate),  SCMP_SYS(fsync),
    SCMP_SYS(fdatasync),  SCMP_SYS(flock),       SCMP_SYS(fcntl),      SCMP_SYS(dup),
    SCMP_SYS(dup2),       SCMP_SYS(dup3),        SCMP_SYS(pipe),       SCMP_SYS(pipe2),
    SCMP_SYS(utimensat),  SCMP_SYS(umask),       SCMP_SYS(chmod),      SCMP_SYS(fchmod),
    SCMP_SYS(fchmodat),   SCMP_SYS(statfs),      SCMP_SYS(fstatfs),    SCMP_SYS(getxattr),
    SCMP_SYS(lgetxattr),  SCMP_SYS(fgetxattr),   SCMP_SYS(sendfile),   SCMP_SYS(fadvise64),
};

constexpr int kWaitCalls[] = {
    SCMP_SYS(poll),         SCMP_SYS(ppoll),          SCMP_SYS(select),          SCMP_SYS(pselect6),
    SCMP_SYS(epoll_create), SCMP_SYS(epoll_create1),  SCMP_SYS(epoll_ctl),       SCMP_SYS(epoll_wait),
    SCMP_SYS(epoll_pwait),  SCMP_SYS(eventfd),        SCMP_SYS(eventfd2),        SCMP_SYS(inotify_init1),
    SCMP_SYS(signalfd4),    SCMP_SYS(timerfd_create), SCMP_SYS(timerfd_settime), SCMP_SYS(inotify_add_watch),
    SCMP_SYS(nanosleep),    SCMP_SYS(clock_gettime),  SCMP_SYS(clock_getres),    SCMP_SYS(inotify_rm_watch),
    SCMP_SYS(gettimeofday), SCMP_SYS(time),           SCMP_SYS(alarm),           SCMP_SYS(clock_nanosleep),
    SCMP_SYS(setitimer),    SCMP_SYS(getitimer),      SCMP_SYS(pause),           SCMP_SYS(restart_syscall),
};

// Of the network without `socket`, of which only some families are allowed. Nobody is let in.
constexpr int kNetworkCalls[] = {
    SCMP_SYS(socketpair), SCMP_SYS(connect),    SCMP_SYS(bind),       SCMP_SYS(getsockname),
    SCMP_SYS(shutdown),   SCMP_SYS(setsockopt), SCMP_SYS(getsockopt), SCMP_SYS(getpeername),
    SCMP_SYS(sendto),     SCMP_SYS(sendmsg),    SCMP_SYS(sendmmsg),   SCMP_SYS(recvfrom),
    SCMP_SYS(recvmsg),    SCMP_SYS(recvmmsg),
};
constexpr int kFamilies[] = {AF_UNIX, AF_INET, AF_INET6, AF_NETLINK};

constexpr int kProcessCalls[] = {
    SCMP_SYS(mmap),
    SCMP_SYS(munmap),
    SCMP_SYS(mprotect),
    SCMP_SYS(mremap),
    SCMP_SYS(madvise),
    SCMP_SYS(brk),
    SCMP_SYS(msync),
    SCMP_SYS(membarrier),
    SCMP_SYS(memfd_create),
    SCMP_SYS(exit),
    SCMP_SYS(exit_group),
    SCMP_SYS(clone),
    SCMP_SYS(clone3),
    SCMP_SYS(fork),
    SCMP_SYS(vfork),
    SCMP_SYS(execve),
    SCMP_SYS(wait4),
    SCMP_SYS(waitid),
    SCMP_SYS(kill),
    SCMP_SYS(tgkill),
    SCMP_SYS(getpid),
    SCMP_SYS(getppid),
    SCMP_SYS(gettid),
    SCMP_SYS(getuid),
    SCMP_SYS(geteuid),
    SCMP_SYS(getgid),
    SCMP_SYS(getegid),
    SCMP_SYS(getresuid),
    SCMP_SYS(getresgid),
    SCMP_SYS(getgroups),
    SCMP_SYS(getpgrp),
    SCMP_SYS(getpgid),
    SCMP_SYS(getsid),
    SCMP_SYS(setsid),
    SCMP_SYS(getrusage),
    SCMP_SYS(prctl),
    SCMP_SYS(arch_prctl),
    SCMP_SYS(set_tid_address),
    SCMP_SYS(rseq),
    SCMP_SYS(set_robust_list),
    SCMP_SYS(get_robust_list),
    SCMP_SYS(futex),
    SCMP_SYS(sched_yield),
    SCMP_SYS(sched_getaffinity),
    SCMP_SYS(sysinfo),
    SCMP_SYS(uname),
    SCMP_SYS(getrlimit),
    SCMP_SYS(prlimit64),
    SCMP_SYS(setrlimit),
    SCMP_SYS(getcpu),
    SCMP_SYS(getrandom),
    SCMP_SYS(getpriority),
    SCMP_SYS(rt_sigaction),
    SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn),
    SCMP_SYS(rt_sigpending),
    SCMP_SYS(rt_sigsuspend),
    SCMP_SYS(rt_sigtimedwait),
    SCMP_SYS(sigaltstack),
    SCMP_SYS(sched_getparam),
    SCMP_SYS(sched_getscheduler),
};

// Whoever calls one of these is not the library any more.
constexpr int kDeadlyCalls[] = {
    SCMP_SYS(ptrace),          SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev),
    SCMP_SYS(mount),           SCMP_SYS(umount2),          SCMP_SYS(pivot_root),
    SCMP_SYS(chroot),          SCMP_SYS(move_mount),       SCMP_SYS(fsopen),
    SCMP_SYS(open_tree),       SCMP_SYS(unshare),          SCMP_SYS(setns),
    SCMP_SYS(kexec_load),      SCMP_SYS(kexec_file_load),  SCMP_SYS(init_module),
    SCMP_SYS(finit_module),    SCMP_SYS(delete_module),    SCMP_SYS(bpf),
    SCMP_SYS(perf_event_open), SCMP_SYS(userfaultfd),      SCMP_SYS(reboot),
    SCMP_SYS(swapon),          SCMP_SYS(swapoff),
};

struct FilterEnd {
    void operator()(void* filter) const { seccomp_release(filter); }
};

bool Filter() {
    const std::unique_ptr<void, FilterEnd> filter(seccomp_init(SCMP_ACT_ERRNO(EPERM)));
    if (!filter) {
        return false;
    }
    bool bGood = true;
    const auto rule = [&](std::uint32_t action, int call, auto... conditions) {
        bGood =
            bGood && seccomp_rule_add(filter.get(), action, call, sizeof...(conditions), conditions...) == 0;
    };
    for (const auto calls : {std::span<const int>(kFileCalls), std::span<const int>(kWaitCalls),
                             std::span<const int>(kNetworkCalls), std::span<const int>(kProcessCalls)}) {
        for (const int call : calls) {
            rule(SCMP_ACT_ALLOW, call);
        }
    }
    for (const int call : kDeadlyCalls) {
        rule(SCMP_ACT_KILL_PROCESS, call);
    }
    // The library's own macros for these are C.
    for (const int family : kFamilies) {
        rule(SCMP_ACT_ALLOW, SCMP_SYS(socket),
             scmp_arg_cmp{0, SCMP_CMP_EQ, static_cast<scmp_datum_t>(family), 0});
    }
    // Anything but putting words into a terminal's mouth.
    rule(SCMP_ACT_ALLOW, SCMP_SYS(ioctl), scmp_arg_cmp{1, SCMP_CMP_NE, TIOCSTI, 0});
    return bGood && seccomp_load(filter.get()) == 0;
}

}  // namespace

bool ConfineProcess() {
    for (const Limit& limit : kLimits) {
        const rlimit most{limit.most, limit.most};
        if (::setrlimit(limit.what, &most) != 0) {
            return false;
        }
    }
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && Filter();
}

}  // namespace kvmon
