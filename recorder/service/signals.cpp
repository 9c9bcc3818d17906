#include "service/signals.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace kvrecorder {

Signals::Signals() {
    ::sigemptyset(&m_waited);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        ::sigaddset(&m_waited, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &m_waited, nullptr);
}

std::optional<int> Signals::Next(std::optional<std::chrono::microseconds> within) const {
    for (;;) {
        int signal = -1;
        if (within) {
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(*within);
            const std::chrono::nanoseconds rest = *within - seconds;
            const timespec time{seconds.count(), rest.count()};
            signal = ::sigtimedwait(&m_waited, nullptr, &time);
        } else {
            signal = ::sigwaitinfo(&m_waited, nullptr);
        }
        if (signal > 0) {
            return signal;
        }
        if (errno != EINTR) {
            return std::nullopt;
        }
    }
}

void Signals::Send(int signal) {
    ::kill(::getpid(), signal);
}

}  // namespace kvrecorder
