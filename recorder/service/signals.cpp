#include "service/signals.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <exception>

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

EndsAtOnce::EndsAtOnce() {
    try {
        m_thread = std::thread([this] { Run(); });
    } catch (const std::exception&) {
        // The start may have all there is.
    }
}

EndsAtOnce::~EndsAtOnce() {
    m_over = true;
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void EndsAtOnce::Run() const {
    sigset_t ends{};
    ::sigemptyset(&ends);
    ::sigaddset(&ends, SIGTERM);
    ::sigaddset(&ends, SIGINT);
    constexpr timespec kLook{0, 20'000'000};
    while (!m_over) {
        if (const int signal = ::sigtimedwait(&ends, nullptr, &kLook); signal > 0) {
            ::pthread_sigmask(SIG_UNBLOCK, &ends, nullptr);
            ::raise(signal);
        }
    }
}

}  // namespace kvrecorder
