#include "platform/worker.h"

#include <pthread.h>

#include <algorithm>
#include <system_error>
#include <vector>

#include "platform/caught.h"
#include "platform/diagnostics.h"
#include "platform/ended_threads.h"

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

// Threads that no worker holds any more, until the system has let go of them. What an ended body leaves to
// do, the end of what libraries keep for each thread, is over only then.
class Departing {
public:
    void Add(pthread_t thread) noexcept {
        const std::lock_guard lock(m_mutex);
        Sweep();
        try {
            m_threads.push_back(thread);
        } catch (...) {
            ::pthread_detach(thread);
        }
    }
    // Waits for nobody.
    void Clear() {
        const std::lock_guard lock(m_mutex);
        Sweep();
    }
    void JoinAll() {
        const std::lock_guard lock(m_mutex);
        for (const pthread_t thread : m_threads) {
            ::pthread_join(thread, nullptr);
        }
        m_threads.clear();
    }

private:
    void Sweep() {
        std::erase_if(m_threads, [](pthread_t thread) { return ::pthread_tryjoin_np(thread, nullptr) == 0; });
    }

    std::mutex m_mutex;
    std::vector<pthread_t> m_threads;
};

Departing& TheDeparting() {
    static Departing* const departing = new Departing;  // never destroyed: abandoned threads come late
    return *departing;
}

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
    std::function<void()> body;
    pthread_t thread{};
    Event done;
    std::mutex mutex;
    bool abandoned = false;  // guarded by mutex
    bool ended = false;      // guarded by mutex

    // Takes the thread's share of the state.
    static void* Run(void* share) {
        const std::unique_ptr<std::shared_ptr<State>> held(static_cast<std::shared_ptr<State>*>(share));
        State& state = **held;
        ::pthread_setname_np(::pthread_self(), state.name.substr(0, 15).c_str());
        RunBody(state.name, state.body);
        state.body = nullptr;  // what the body owns goes before the end is told
        {
            const std::lock_guard lock(state.mutex);
            state.ended = true;
            if (state.abandoned) {
                --abandonedCount;
            }
        }
        state.done.Set();
        return nullptr;
    }
};

Worker::~Worker() {
    if (IsRunning()) {
        Abandon();
    } else if (m_state) {
        TheDeparting().Add(m_state->thread);
    }
}

bool Worker::Start(const char* name, std::function<void()> body) {
    if (m_state) {
        return false;
    }
    try {
        TheDeparting().Clear();
        auto state = std::make_shared<State>();
        state->name = name;
        state->body = std::move(body);
        auto share = std::make_unique<std::shared_ptr<State>>(state);
        if (const int error = ::pthread_create(&state->thread, nullptr, &State::Run, share.get());
            error != 0) {
            throw std::system_error(error, std::generic_category());
        }
        static_cast<void>(share.release());  // Run has it
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
    if (::pthread_equal(m_state->thread, ::pthread_self()) != 0 || !m_state->done.Wait(Limited(timeout))) {
        return false;
    }
    TheDeparting().Add(m_state->thread);
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
    TheDeparting().Add(m_state->thread);
    m_state.reset();
}

void Worker::LimitWaits(std::optional<Milliseconds> total) {
    endOfWaits = total ? (SteadyClock::now() + *total).time_since_epoch().count() : kNoLimit;
}

int Worker::AbandonedCount() {
    return abandonedCount;
}

void JoinEndedThreads() {
    TheDeparting().JoinAll();
}

}  // namespace kvmon
