#include "app/termination.h"

#include <fcntl.h>
#include <unistd.h>

#include <QtCore/QCoreApplication>
#include <algorithm>
#include <cerrno>
#include <csignal>

#include "host/exit_status.h"
#include "persist/orvo_registry.h"
#include "platform/diagnostics.h"
#include "platform/worker.h"

namespace kvmon {

namespace {

constexpr char kSignal = 's';
constexpr char kBegin = 'b';
constexpr char kDone = 'd';

int wakePipe[2] = {-1, -1};

void WritePipe(char what) {
    // A full pipe already holds all that can be said.
    [[maybe_unused]] const ssize_t written = ::write(wakePipe[1], &what, 1);
}

extern "C" void OnSignal(int) {
    const int saved = errno;
    WritePipe(kSignal);
    errno = saved;
}

void Handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
}

char ReadPipe() {
    char what = kDone;
    ssize_t count = 0;
    do {
        count = ::read(wakePipe[0], &what, 1);
    } while (count < 0 && errno == EINTR);
    if (count != 1) {
        // Nobody would hear of a signal any more: let it end the program by itself.
        Handle(SIGTERM, SIG_DFL);
        Handle(SIGINT, SIG_DFL);
    }
    return count == 1 ? what : kDone;
}

}  // namespace

Termination::Termination() {
    if (wakePipe[0] < 0 && ::pipe2(wakePipe, O_CLOEXEC) != 0) {
        Diagnose("Termination: no pipe, errno=%d\n", errno);
        return;
    }
    Handle(SIGPIPE, SIG_IGN);
    Handle(SIGTERM, OnSignal);
    Handle(SIGINT, OnSignal);
    m_thread = std::thread([this] { Run(); });
}

Termination::~Termination() {
    if (!m_thread.joinable()) {
        return;
    }
    Handle(SIGTERM, SIG_DFL);
    Handle(SIGINT, SIG_DFL);
    m_done.Set();
    WritePipe(kDone);
    m_thread.join();
}

void Termination::Begin() {
    NoteBegin();
    WritePipe(kBegin);
}

void Termination::NoteBegin() {
    std::chrono::steady_clock::rep never = 0;
    m_began.compare_exchange_strong(never, std::chrono::steady_clock::now().time_since_epoch().count());
}

std::chrono::milliseconds Termination::TimeToSave() const {
    const std::chrono::steady_clock::time_point began{std::chrono::steady_clock::duration(m_began.load())};
    const auto passed = std::chrono::steady_clock::now() - began;
    return std::max(std::chrono::duration_cast<std::chrono::milliseconds>(kSaved - passed),
                    std::chrono::milliseconds(0));
}

void Termination::Run() {
    const char what = ReadPipe();
    if (what == kDone) {
        return;
    }
    NoteBegin();
    Worker::LimitWaits(kWaits);
    if (what == kSignal) {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
    }
    if (!m_done.Wait(kLimit)) {
        // What had to be saved was saved at the beginning of the end, if the file could be written.
        Diagnose("Termination: the end took too long...\n");
        Registry().Close(std::chrono::milliseconds(0));
        ::_exit(kvhost::kCutShort);
    }
}

}  // namespace kvmon
