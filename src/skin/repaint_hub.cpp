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
    Ticket(QWidget& window, std::shared_ptr<Waker> waker) : window_(&window), waker_(std::move(waker)) {}

    void Request() override {
        if (!wanted_.exchange(true)) {
            waker_->Wake();
        }
    }
    // User interface thread from here on.
    bool IsGone() const { return window_.isNull(); }
    void Serve() {
        if (wanted_.exchange(false) && window_) {
            window_->update();
        }
    }

private:
    const QPointer<QWidget> window_;
    const std::shared_ptr<Waker> waker_;
    std::atomic<bool> wanted_{false};
};

class RepaintHub final : public QObject {
public:
    explicit RepaintHub(QObject* parent) : QObject(parent) {
        waker_->hub = this;
        pause_.setSingleShot(true);
        pause_.setTimerType(Qt::PreciseTimer);
        connect(&pause_, &QTimer::timeout, this, [this] { Serve(); });
        sinceServed_.invalidate();
    }
    ~RepaintHub() override {
        const std::lock_guard lock(waker_->mutex);
        waker_->hub = nullptr;
    }

    std::shared_ptr<RepaintTicket> Register(QWidget& window) {
        std::erase_if(tickets_, [](const auto& ticket) {
            const auto alive = ticket.lock();
            return !alive || alive->IsGone();
        });
        auto ticket = std::make_shared<Ticket>(window, waker_);
        tickets_.push_back(ticket);
        return ticket;
    }

    bool event(QEvent* event) override {
        if (event->type() != WakeUpType()) {
            return QObject::event(event);
        }
        const qint64 since = sinceServed_.isValid() ? sinceServed_.elapsed() : kShortestPeriodMs;
        if (since >= kShortestPeriodMs) {
            Serve();
        } else {
            pause_.start(kShortestPeriodMs - static_cast<int>(since));
        }
        return true;
    }

    std::optional<SteadyClock::time_point> TakeRequestTime() {
        return std::exchange(requested_, std::nullopt);
    }

private:
    void Serve() {
        sinceServed_.start();
        if (!requested_) {
            requested_ = SteadyClock::time_point(SteadyClock::duration(waker_->since));
        }
        // Before the windows are looked at: a request from here on wakes again.
        waker_->underWay = false;
        for (const auto& ticket : tickets_) {
            if (const auto alive = ticket.lock()) {
                alive->Serve();
            }
        }
    }

    const std::shared_ptr<Waker> waker_ = std::make_shared<Waker>();
    std::vector<std::weak_ptr<Ticket>> tickets_;
    std::optional<SteadyClock::time_point> requested_;
    QTimer pause_;
    QElapsedTimer sinceServed_;
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
