// The toolkit's word is a name in that library.
#pragma push_macro("signals")
#undef signals
#include <libsecret/secret.h>
#pragma pop_macro("signals")

#include <QtCore/QTimer>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>

#include "app/key_ring.h"
#include "app/session_bus.h"
#include "persist/log_file.h"
#include "platform/secret_memory.h"
#include "platform/text.h"
#include "platform/worker.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kMsgAnswered = 1101;
constexpr int kSecretAnswerMs = 60000;
constexpr std::size_t kMaxJobs = 32;
constexpr Milliseconds kSecretEnd{300};

const SecretSchema& Schema() {
    static const SecretSchema schema = {"org.kvmon.Recorder",
                                        SECRET_SCHEMA_NONE,
                                        {{"address", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                         {"port", SECRET_SCHEMA_ATTRIBUTE_INTEGER},
                                         {"user", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                         {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                        0,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr};
    return schema;
}

enum class What { Store, Lookup, Forget };

struct Job {
    std::uint32_t number = 0;
    What what = What::Lookup;
    KeyRingLogin login;
    std::string password;  // to store, or found
    bool bDone = false;
    std::shared_ptr<GCancellable> cancel{g_cancellable_new(), g_object_unref};

    Job() = default;
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;
    ~Job() { Wipe(password); }
};

// What the thread and the window share.
struct Jobs {
    std::mutex lock;
    std::condition_variable changed;
    std::deque<std::shared_ptr<Job>> waiting;
    std::deque<std::shared_ptr<Job>> done;
    std::shared_ptr<Job> running;
    bool bEnd = false;
};

// The cause, without what was asked for.
void TellFailure(const char* what, GError* error) {
    Trace("SecretService: %s failed, %s...\n", what, error->message);
    g_error_free(error);
}

void Carry(Job& job) {
    const auto port = static_cast<gint>(job.login.port);
    GError* error = nullptr;
    const char* const address = job.login.address.c_str();
    const char* const user = job.login.user.c_str();
    GCancellable* const cancel = job.cancel.get();
    switch (job.what) {
        case What::Store: {
            const std::string label = "kvmon: " + job.login.user + "@" + job.login.address;
            job.bDone = secret_password_store_sync(&Schema(), SECRET_COLLECTION_DEFAULT, label.c_str(),
                                                   job.password.c_str(), cancel, &error, "address", address,
                                                   "port", port, "user", user, nullptr) != FALSE;
            Wipe(job.password);
            break;
        }
        case What::Lookup: {
            gchar* const found = secret_password_lookup_nonpageable_sync(
                &Schema(), cancel, &error, "address", address, "port", port, "user", user, nullptr);
            job.bDone = found != nullptr;
            if (found != nullptr) {
                job.password = found;
                secret_password_free(found);
            }
            break;
        }
        case What::Forget:
            secret_password_clear_sync(&Schema(), cancel, &error, "address", address, "port", port, "user",
                                       user, nullptr);
            break;
    }
    if (error != nullptr) {
        TellFailure(job.what == What::Store    ? "to store"
                    : job.what == What::Lookup ? "to look up"
                                               : "to forget",
                    error);
    }
}

void ServeJobs(Jobs& jobs, const WindowHandle& receiver) {
    const auto bus = HoldSessionBus();
    std::unique_lock lock(jobs.lock);
    for (;;) {
        jobs.changed.wait(lock, [&] { return jobs.bEnd || !jobs.waiting.empty(); });
        if (jobs.bEnd) {
            return;
        }
        jobs.running = jobs.waiting.front();
        jobs.waiting.pop_front();
        const std::shared_ptr<Job> job = jobs.running;
        lock.unlock();
        Carry(*job);
        lock.lock();
        jobs.running = nullptr;
        jobs.done.push_back(job);
        receiver.Post(kMsgAnswered, 0, 0);
    }
}

class SecretService final : public WindowBase, public KeyRing {
public:
    ~SecretService() override {
        {
            const std::lock_guard lock(m_jobs->lock);
            m_jobs->bEnd = true;
            if (m_jobs->running) {
                g_cancellable_cancel(m_jobs->running->cancel.get());
            }
        }
        m_jobs->changed.notify_one();
        m_thread.Wait(kSecretEnd);
    }

    bool IsThere() const override { return HasSessionBus(); }

    void Store(const KeyRingLogin& login, const std::string& password,
               std::function<void(bool)> done) override {
        Begin(What::Store, login, password, [done = std::move(done)](Job& job) { done(job.bDone); });
    }

    void Lookup(const KeyRingLogin& login, std::function<void(std::optional<std::string>)> done) override {
        Begin(What::Lookup, login, {}, [done = std::move(done)](Job& job) {
            done(job.bDone ? std::optional(job.password) : std::nullopt);
        });
    }

    void Forget(const KeyRingLogin& login) override {
        Begin(What::Forget, login, {}, [](Job&) {});
    }

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override {
        if (message != kMsgAnswered) {
            return WindowBase::OnMessage(message, wParam, lParam);
        }
        std::deque<std::shared_ptr<Job>> done;
        {
            const std::lock_guard lock(m_jobs->lock);
            done.swap(m_jobs->done);
        }
        for (const auto& job : done) {
            Answer(*job);
        }
        return 0;
    }

private:
    using Done = std::function<void(Job&)>;

    void Begin(What what, const KeyRingLogin& login, const std::string& password, Done done) {
        auto job = std::make_shared<Job>();
        job->number = ++m_number;
        job->what = what;
        job->login = login;
        job->password = password;
        m_pending[job->number] = std::move(done);
        bool bTaken = IsThere();
        if (bTaken && !m_thread.IsHeld()) {
            bTaken = m_thread.Start("keyring",
                                    [jobs = m_jobs, receiver = Handle()] { ServeJobs(*jobs, receiver); });
        }
        if (bTaken) {
            const std::lock_guard lock(m_jobs->lock);
            bTaken = m_jobs->waiting.size() < kMaxJobs;
            if (bTaken) {
                m_jobs->waiting.push_back(job);
            }
        }
        m_jobs->changed.notify_one();
        QTimer::singleShot(
            bTaken ? kSecretAnswerMs : 0, this,
            [this, late = std::weak_ptr(job), number = m_number] { GiveUp(late.lock(), number); });
    }

    void GiveUp(const std::shared_ptr<Job>& job, std::uint32_t number) {
        if (job) {
            g_cancellable_cancel(job->cancel.get());
        }
        Job none;
        none.number = number;
        Answer(none);
    }

    void Answer(Job& job) {
        const auto found = m_pending.find(job.number);
        if (found != m_pending.end()) {
            const Done done = std::move(found->second);
            m_pending.erase(found);
            done(job);
        }
    }

    const std::shared_ptr<Jobs> m_jobs = std::make_shared<Jobs>();
    Worker m_thread;
    std::map<std::uint32_t, Done> m_pending;
    std::uint32_t m_number = 0;
};

}  // namespace

std::unique_ptr<KeyRing> MakeSecretServiceKeyRing() {
    return std::make_unique<SecretService>();
}

}  // namespace kvmon
