#include "skin/repaint_hub.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEvent>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtWidgets/QWidget>
#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include "skin/direct_screen.h"
#include "skin/screen_thread.h"

namespace kvmon {

namespace {

using SteadyClock = std::chrono::steady_clock;

// A screen shows no more.
constexpr int kShortestPeriodMs = 16;

QEvent::Type WakeUpType() {
    static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}

// What the tickets share with the hub: the hub's address for as long as it lives, and the ways past the
// toolkit.
struct Waker {
    std::atomic<bool> underWay{false};
    std::atomic<SteadyClock::rep> since{0};  // of the request that woke
    std::atomic<bool> threadUnderWay{false};
    std::mutex mutex;
    QObject* hub = nullptr;
    ScreenThread* thread = nullptr;
    DirectScreen* screen = nullptr;  // user interface thread

    void Wake() {
        if (underWay.exchange(true)) {
            return;
        }
        since = SteadyClock::now().time_since_epoch().count();
        const std::lock_guard lock(mutex);
        if (hub != nullptr) {
            QCoreApplication::postEvent(hub, new QEvent(WakeUpType()));
        }
    }
    void WakeThread() {
        if (threadUnderWay.exchange(true)) {
            return;
        }
        const std::lock_guard lock(mutex);
        if (thread != nullptr) {
            thread->Wake();
        }
    }
};

class Ticket final : public RepaintTicket {
public:
    Ticket(QWidget& window, PutNewest put, std::shared_ptr<Waker> waker)
        : m_window(&window), m_put(std::move(put)), m_waker(std::move(waker)) {}

    void Request() override {
        if (!m_wanted.exchange(true)) {
            m_bByThread ? m_waker->WakeThread() : m_waker->Wake();
        }
    }
    // User interface thread from here on, or another while that sleeps.
    std::function<QImage(int, int)> ImageMaker() const override {
        return m_put && m_waker->screen != nullptr ? m_waker->screen->ImageMaker() : nullptr;
    }
    bool IsBeingRead() const override {
        return m_put && m_waker->screen != nullptr && !m_waker->screen->IsRead();
    }
    bool IsGone() const { return m_window.isNull(); }
    bool CanBePut() const { return m_put != nullptr; }
    // By the way past the toolkit, if there is one. What goes that way goes by the thread from now on.
    void Serve(DirectScreen* screen, bool bThread) {
        if (!m_wanted.exchange(false) || !m_window) {
            return;
        }
        const bool bPut = screen != nullptr && Put(*screen);
        m_bByThread = bPut && bThread;
        if (!bPut) {
            m_window->update();
        }
    }
    // False if the user interface's thread has to serve it.
    bool ServeAsleep(DirectScreen& screen) {
        if (m_wanted.exchange(false) && m_window && !Put(screen)) {
            m_bByThread = false;
            m_wanted = true;
            return false;
        }
        return true;
    }

private:
    bool Put(DirectScreen& screen) const { return m_put && m_window->updatesEnabled() && m_put(screen); }

    const QPointer<QWidget> m_window;
    const PutNewest m_put;
    const std::shared_ptr<Waker> m_waker;
    std::atomic<bool> m_wanted{false};
    std::atomic<bool> m_bByThread{false};
};

class RepaintHub final : public QObject {
public:
    explicit RepaintHub(QObject* parent) : QObject(parent) {
        m_waker->hub = this;
        m_pause.setSingleShot(true);
        m_pause.setTimerType(Qt::PreciseTimer);
        connect(&m_pause, &QTimer::timeout, this, [this] { Serve(); });
        m_sinceServed.invalidate();
    }
    ~RepaintHub() override {
        Use(nullptr, nullptr);
        const std::lock_guard lock(m_waker->mutex);
        m_waker->hub = nullptr;
    }

    void Use(DirectScreen* screen, SleepGate* gate) {
        std::unique_ptr<ScreenThread> thread;
        if (screen != nullptr && gate != nullptr) {
            thread = std::make_unique<ScreenThread>(
                *gate, [this] { return ServeAsleep(); }, [this] { LeaveToUserInterface(); });
        }
        {
            const std::lock_guard lock(m_waker->mutex);
            m_waker->screen = screen;
            m_waker->thread = thread && thread->IsRunning() ? thread.get() : nullptr;
        }
        m_thread.swap(thread);
        thread.reset();
        m_waker->Wake();  // for what was left to the thread
    }
    std::shared_ptr<RepaintTicket> Register(QWidget& window, PutNewest put) {
        std::erase_if(m_tickets, [](const auto& ticket) {
            const auto alive = ticket.lock();
            return !alive || alive->IsGone();
        });
        auto ticket = std::make_shared<Ticket>(window, std::move(put), m_waker);
        m_tickets.push_back(ticket);
        return ticket;
    }

    bool event(QEvent* event) override {
        if (event->type() != WakeUpType()) {
            return QObject::event(event);
        }
        const qint64 since = m_sinceServed.isValid() ? m_sinceServed.elapsed() : kShortestPeriodMs;
        if (since >= kShortestPeriodMs) {
            Serve();
        } else {
            m_pause.start(kShortestPeriodMs - static_cast<int>(since));
        }
        return true;
    }

    std::optional<SteadyClock::time_point> TakeRequestTime() {
        return std::exchange(m_requested, std::nullopt);
    }

private:
    void Serve() {
        m_sinceServed.start();
        if (!m_requested) {
            m_requested = SteadyClock::time_point(SteadyClock::duration(m_waker->since));
        }
        DirectScreen* const screen = m_waker->screen;
        if (screen != nullptr && !screen->IsRead()) {
            // The display is behind: its images are not touched, and so not exchanged.
            ServeWhat([](const Ticket& ticket) { return !ticket.CanBePut(); }, nullptr);
            m_pause.start(kShortestPeriodMs);
            return;
        }
        // Before the windows are looked at: a request from here on wakes again.
        m_waker->underWay = false;
        ServeWhat([](const Ticket&) { return true; }, screen);
        if (screen != nullptr) {
            screen->Flush();
        }
    }

    // The screen's thread, while that of the user interface sleeps.
    ScreenThread::Round ServeAsleep() {
        if (!m_waker->screen->IsRead()) {
            return ScreenThread::Round::Again;
        }
        m_waker->threadUnderWay = false;
        bool bAll = true;
        for (const auto& ticket : m_tickets) {
            if (const auto alive = ticket.lock(); alive && alive->CanBePut()) {
                bAll = alive->ServeAsleep(*m_waker->screen) && bAll;
            }
        }
        m_waker->screen->Flush();
        if (!bAll) {
            m_waker->Wake();
        }
        return ScreenThread::Round::Done;
    }

    void LeaveToUserInterface() {
        m_waker->threadUnderWay = false;
        m_waker->Wake();
    }

    template <typename Which>
    void ServeWhat(const Which& which, DirectScreen* screen) {
        for (const auto& ticket : m_tickets) {
            const auto alive = ticket.lock();
            if (alive && which(*alive)) {
                alive->Serve(screen, m_waker->thread != nullptr);
            }
        }
    }

    const std::shared_ptr<Waker> m_waker = std::make_shared<Waker>();
    std::vector<std::weak_ptr<Ticket>> m_tickets;
    std::optional<SteadyClock::time_point> m_requested;
    QTimer m_pause;
    QElapsedTimer m_sinceServed;
    std::unique_ptr<ScreenThread> m_thread;
};

RepaintHub& TheHub() {
    // Goes with the application object, and comes again with the next.
    static QPointer<RepaintHub> hub;
    if (!hub) {
        hub = new RepaintHub(QCoreApplication::instance());
    }
    return *hub;
}

}  // namespace

std::shared_ptr<RepaintTicket> RegisterForRepaint(QWidget& window, PutNewest put) {
    return TheHub().Register(window, std::move(put));
}

void UseDirectScreen(DirectScreen* screen, SleepGate* gate) {
    TheHub().Use(screen, gate);
}

std::optional<SteadyClock::time_point> TakeRepaintRequestTime() {
    return TheHub().TakeRequestTime();
}

}  // namespace kvmon
