#include "platform/worker.h"

#include <pthread.h>

#include <algorithm>
#include <thread>

#include "platform/caught.h"
#include "platform/diagnostics.h"

namespace kvmon {

namespace {

std::atomic<int> abandonedCount{0};

// An exception ends its own thread, and not the program.
void RunBody(const std::string& name, const std::function<void()>& body) noexcept {
    try {
        body();
    } catch (...) {
        Diagnose("Worker: %s ended by an exception: %s...\n", name.c_str(), TakeCaught().what.data());
    }
}

using SteadyClock = std::chrono::steady_clock;
constexpr SteadyClock::rep kNoLimit = SteadyClock::duration::max().count();
std::atomic<SteadyClock::rep> endOfWaits{kNoLimit};

Milliseconds Limited(Milliseconds timeout) {
    const SteadyClock::rep end = endOfWaits;
    if (end == kNoLimit) {
        return timeout;
    }
    const auto left = SteadyClock::duration(end) - SteadyClock::now().time_since_epoch();
    return std::clamp(std::chrono::duration_cast<Milliseconds>(left), Milliseconds(0), timeout);
}

}  // namespace

struct Worker::State {
    std::string name;
    std::thread::id id;
    Event done;
    std::mutex mutex;
    bool abandoned = false;  // guarded by mutex
    bool ended = false;      // guarded by mutex
};

Worker::~Worker() {
    if (IsRunning()) {
        Abandon();
    }
}

bool Worker::Start(const char* name, std::function<void()> body) {
    if (m_state) {
        return false;
    }
    try {
        auto state = std::make_shared<State>();
        state->name = name;
        std::thread thread([state, body = std::move(body)]() mutable {
            pthread_setname_np(pthread_self(), state->name.substr(0, 15).c_str());
            RunBody(state->name, body);
            body = nullptr;  // what the body owns goes before the end is told
            {
                const std::lock_guard lock(state->mutex);
                state->ended = true;
                if (state->abandoned) {
                    --abandonedCount;
                }
            }
            state->done.Set();
        });
        state->id = thread.get_id();
        thread.detach();
        m_state = std::move(state);
    } catch (...) {
        Diagnose("Worker: %s could not be started: %s...\n", name, TakeCaught().what.data());
        return false;
    }
    return true;
}

bool Worker::IsRunning() const {
    return m_state && !m_state->done.IsSet();
}

bool Worker::Wait(Milliseconds timeout) {
    if (!m_state) {
        return true;
    }
    if (m_state->id == std::this_thread::get_id() || !m_state->done.Wait(Limited(timeout))) {
        return false;
    }
    m_state.reset();
    return true;
}

void Worker::Abandon() {
    if (!m_state) {
        return;
    }
    {
        const std::lock_guard lock(m_state->mutex);
        if (!m_state->ended) {
            m_state->abandoned = true;
            ++abandonedCount;
        }
    }
    Diagnose("Worker::Abandon: %s did not end in time, abandoned...\n", m_state->name.c_str());
    m_state.reset();
}

void Worker::LimitWaits(std::optional<Milliseconds> total) {
    endOfWaits = total ? (SteadyClock::now() + *total).time_since_epoch().count() : kNoLimit;
}

int Worker::AbandonedCount() {
    return abandonedCount;
}

}  // namespace kvmon
