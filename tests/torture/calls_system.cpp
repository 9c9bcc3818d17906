// Sockets, files, threads and the display's connection, told without the headers that declare them.
#include "torture/faults.h"

extern "C" int* __errno_location();

namespace {
enum Error : int {
    kAccess = 13,
    kIo = 5,
    kNoMemory = 12,
    kNoSpace = 28,
    kTooMany = 24,
    kAgain = 11,
    kInUse = 98,
    kNoNet = 101,
    kReset = 104,
    kPipe = 32
};
constexpr int kCreate = 0100;
}  // namespace

using Size = unsigned long;
using Signed = long;

#define GIVES(ERROR, VALUE)      \
    *__errno_location() = ERROR; \
    return VALUE
#define SYSTEM(CLASS, TYPE, NAME, PARAMETERS, ARGUMENTS, ERROR) \
    TORTURE_CALL(CLASS, TYPE, NAME, PARAMETERS, ARGUMENTS, GIVES(ERROR, -1))

SYSTEM(Socket, int, socket, (int family, int type, int protocol), (family, type, protocol), kTooMany)
SYSTEM(Socket, int, socketpair, (int family, int type, int protocol, int* to), (family, type, protocol, to),
       kTooMany)
SYSTEM(Socket, int, connect, (int fd, const void* to, unsigned size), (fd, to, size), kNoNet)
SYSTEM(Socket, int, bind, (int fd, const void* to, unsigned size), (fd, to, size), kInUse)
SYSTEM(Socket, int, listen, (int fd, int backlog), (fd, backlog), kInUse)
SYSTEM(Socket, int, accept, (int fd, void* from, unsigned* size), (fd, from, size), kTooMany)
SYSTEM(Socket, int, accept4, (int fd, void* from, unsigned* size, int flags), (fd, from, size, flags),
       kTooMany)
SYSTEM(Socket, Signed, send, (int fd, const void* data, Size size, int flags), (fd, data, size, flags), kPipe)
SYSTEM(Socket, Signed, recv, (int fd, void* data, Size size, int flags), (fd, data, size, flags), kReset)
SYSTEM(Socket, Signed, sendmsg, (int fd, const void* what, int flags), (fd, what, flags), kPipe)
SYSTEM(Socket, Signed, recvmsg, (int fd, void* what, int flags), (fd, what, flags), kReset)
SYSTEM(Socket, int, poll, (void* entries, Size count, int wait), (entries, count, wait), kNoMemory)
SYSTEM(Socket, int, getsockopt, (int fd, int level, int name, void* to, unsigned* size),
       (fd, level, name, to, size), kNoMemory)
SYSTEM(Socket, int, setsockopt, (int fd, int level, int name, const void* to, unsigned size),
       (fd, level, name, to, size), kNoMemory)
SYSTEM(Socket, int, getsockname, (int fd, void* to, unsigned* size), (fd, to, size), kNoMemory)
SYSTEM(Socket, int, pipe2, (int* to, int flags), (to, flags), kTooMany)
SYSTEM(Socket, int, eventfd, (unsigned value, int flags), (value, flags), kTooMany)
SYSTEM(Socket, int, timerfd_create, (int clock, int flags), (clock, flags), kTooMany)
SYSTEM(Socket, int, epoll_create1, (int flags), (flags), kTooMany)
SYSTEM(Socket, int, epoll_ctl, (int fd, int what, int other, void* event), (fd, what, other, event),
       kNoMemory)
// Of the resolver: memory is short.
TORTURE_CALL(Socket, int, getaddrinfo,
             (const char* name, const char* service, const void* wanted, void** found),
             (name, service, wanted, found), return -10)

// A file that is to be made finds no room, another no right.
#define OPEN_FAILS GIVES((flags & kCreate) != 0 ? kNoSpace : kAccess, -1)
TORTURE_CALL(File, int, open, (const char* path, int flags, unsigned mode), (path, flags, mode), OPEN_FAILS)
TORTURE_CALL(File, int, open64, (const char* path, int flags, unsigned mode), (path, flags, mode), OPEN_FAILS)
TORTURE_CALL(File, void*, fopen, (const char* path, const char* mode), (path, mode), GIVES(kNoSpace, nullptr))
TORTURE_CALL(File, void*, fopen64, (const char* path, const char* mode), (path, mode),
             GIVES(kNoSpace, nullptr))
TORTURE_CALL(File, void*, fdopen, (int fd, const char* mode), (fd, mode), GIVES(kNoMemory, nullptr))
TORTURE_CALL(File, Size, fwrite, (const void* data, Size size, Size count, void* file),
             (data, size, count, file), GIVES(kNoSpace, 0))
TORTURE_CALL(File, Size, fread, (void* data, Size size, Size count, void* file), (data, size, count, file),
             GIVES(kIo, 0))
SYSTEM(File, int, fflush, (void* file), (file), kNoSpace)
SYSTEM(File, Signed, read, (int fd, void* data, Size size), (fd, data, size), kIo)
// A signal's number goes through a pipe that its own process reads: the system refuses none of these.
TORTURE_CALL(
    File, Signed, write, (int fd, const void* data, Size size), (fd, data, size),
    if (size != sizeof(int)) { GIVES(kNoSpace, -1); })
SYSTEM(File, Signed, writev, (int fd, const void* parts, int count), (fd, parts, count), kNoSpace)
SYSTEM(File, Signed, pread64, (int fd, void* data, Size size, Signed at), (fd, data, size, at), kIo)
SYSTEM(File, Signed, pwrite64, (int fd, const void* data, Size size, Signed at), (fd, data, size, at),
       kNoSpace)
SYSTEM(File, Signed, pread, (int fd, void* data, Size size, Signed at), (fd, data, size, at), kIo)
SYSTEM(File, Signed, pwrite, (int fd, const void* data, Size size, Signed at), (fd, data, size, at), kNoSpace)
SYSTEM(File, int, fsync, (int fd), (fd), kIo)
SYSTEM(File, int, fdatasync, (int fd), (fd), kIo)
SYSTEM(File, int, ftruncate, (int fd, Signed size), (fd, size), kIo)
SYSTEM(File, int, ftruncate64, (int fd, Signed size), (fd, size), kIo)
SYSTEM(File, int, stat, (const char* path, void* to), (path, to), kAccess)
SYSTEM(File, int, stat64, (const char* path, void* to), (path, to), kAccess)
SYSTEM(File, int, lstat, (const char* path, void* to), (path, to), kAccess)
SYSTEM(File, int, fstat, (int fd, void* to), (fd, to), kIo)
SYSTEM(File, int, fstat64, (int fd, void* to), (fd, to), kIo)
SYSTEM(File, int, statvfs, (const char* path, void* to), (path, to), kIo)
SYSTEM(File, int, rename, (const char* from, const char* to), (from, to), kAccess)
SYSTEM(File, int, unlink, (const char* path), (path), kAccess)
SYSTEM(File, int, mkdir, (const char* path, unsigned mode), (path, mode), kNoSpace)
TORTURE_CALL(File, char*, mkdtemp, (char* form), (form), GIVES(kNoSpace, nullptr))
TORTURE_CALL(File, void*, opendir, (const char* path), (path), GIVES(kAccess, nullptr))
// For the maps of a database.
TORTURE_CALL(File, void*, mmap64, (void* at, Size size, int protect, int flags, int fd, Signed from),
             (at, size, protect, flags, fd, from), GIVES(kNoMemory, reinterpret_cast<void*>(-1)))

TORTURE_CALL(Thread, int, pthread_create, (Size * to, const void* kind, void* (*run)(void*), void* with),
             (to, kind, run, with), return kAgain)

TORTURE_CALL(Display, void*, XOpenDisplay, (const char* name), (name), return nullptr)
SYSTEM(Display, int, shmget, (int key, Size size, int flags), (key, size, flags), kNoSpace)
TORTURE_CALL(Display, void*, shmat, (int id, const void* at, int flags), (id, at, flags),
             GIVES(kNoMemory, reinterpret_cast<void*>(-1)))
TORTURE_CALL(Display, void*, xcb_shm_query_version_reply, (void* to, unsigned asked, void** error),
             (to, asked, error), return nullptr)
TORTURE_CALL(Display, void*, xcb_shm_create_segment_reply, (void* to, unsigned asked, void** error),
             (to, asked, error), return nullptr)
