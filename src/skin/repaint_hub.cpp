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

namespace kvmon {

namespace {

using SteadyClock = std::chrono::steady_clock;

// A screen shows no more.
constexpr int kShortestPeriodMs = 16;

QEvent::Type WakeUpType() {
    static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}

// What the tickets share with the hub: the hub's address for as long as it lives.
struct Waker {
    std::atomic<bool> underWay{false};
    std::atomic<SteadyClock::rep> since{0};  // of the request that woke
    std::mutex mutex;
    QObject* hub = nullptr;

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
};

class Ticket final : public RepaintTicket {
public:
    Ticket(QWidget& window, std::shared_ptr<Waker> waker) : m_window(&window), m_waker(std::move(waker)) {}

    void Request() override {
        if (!m_wanted.exchange(true)) {
            m_waker->Wake();
        }
    }
    // User interface thread from here on.
    bool IsGone() const { return m_window.isNull(); }
    void Serve() {
        if (m_wanted.exchange(false) && m_window) {
            m_window->update();
        }
    }

private:
    const QPointer<QWidget> m_window;
    const std::shared_ptr<Waker> m_waker;
    std::atomic<bool> m_wanted{false};
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
        const std::lock_guard lock(m_waker->mutex);
        m_waker->hub = nullptr;
    }

    std::shared_ptr<RepaintTicket> Register(QWidget& window) {
        std::erase_if(m_tickets, [](const auto& ticket) {
            const auto alive = ticket.lock();
            return !alive || alive->IsGone();
        });
        auto ticket = std::make_shared<Ticket>(window, m_waker);
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
        // Before the windows are looked at: a request from here on wakes again.
        m_waker->underWay = false;
        for (const auto& ticket : m_tickets) {
            if (const auto alive = ticket.lock()) {
                alive->Serve();
            }
        }
    }

    const std::shared_ptr<Waker> m_waker = std::make_shared<Waker>();
    std::vector<std::weak_ptr<Ticket>> m_tickets;
    std::optional<SteadyClock::time_point> m_requested;
    QTimer m_pause;
    QElapsedTimer m_sinceServed;
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

std::shared_ptr<RepaintTicket> RegisterForRepaint(QWidget& window) {
    return TheHub().Register(window);
}

std::optional<SteadyClock::time_point> TakeRepaintRequestTime() {
    return TheHub().TakeRequestTime();
}

}  // namespace kvmon
