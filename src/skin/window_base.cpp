#include "skin/window_base.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QTimerEvent>
#include <new>
#include <system_error>

namespace kvmon {

namespace {

QEvent::Type NumberedMessageType() {
    static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}

// Memory or a thread that cannot be had at one moment must not cost a message or a tick that comes only once:
// its handler is called again, and what it has done already it finds done.
template <typename Handler>
void CallPatiently(const Handler& handler) {
    constexpr int kTries = 3;
    for (int i = 1; i < kTries; ++i) {
        try {
            handler();
            return;
        } catch (const std::bad_alloc&) {
        } catch (const std::system_error&) {
        }
    }
    handler();
}

struct NumberedMessage final : QEvent {
    NumberedMessage(std::uint32_t number, WParam first, LParam second)
        : QEvent(NumberedMessageType()), message(number), wParam(first), lParam(second) {}

    const std::uint32_t message;
    const WParam wParam;
    const LParam lParam;
};

}  // namespace

// What other threads hold of the window. The lock keeps the window alive for the length of one post.
class WindowBase::Target final : public MessageTarget {
public:
    explicit Target(WindowBase* window) : m_window(window) {}

    void PostMessage(std::uint32_t message, WParam wParam, LParam lParam) override {
        const std::lock_guard lock(m_mutex);
        if (m_window != nullptr) {
            QCoreApplication::postEvent(m_window, new NumberedMessage(message, wParam, lParam));
        }
    }

    void Detach() {
        const std::lock_guard lock(m_mutex);
        m_window = nullptr;
    }

private:
    std::mutex m_mutex;
    WindowBase* m_window;
};

WindowBase::WindowBase(QWidget* parent) : QWidget(parent), m_target(std::make_shared<Target>(this)) {}

WindowBase::~WindowBase() {
    // A poster may hold the target for longer than this window lives.
    m_target->Detach();
}

void WindowBase::SetTimer(std::uint32_t id, int periodMs) {
    KillTimer(id);
    int& timer = m_timers[id];  // first, since a timer that no number leads to would tick for ever
    // The toolkit's coarse timers fire up to a twentieth early: a held button would repeat too soon.
    timer = startTimer(periodMs, Qt::PreciseTimer);
}

void WindowBase::KillTimer(std::uint32_t id) {
    const auto timer = m_timers.find(id);
    if (timer != m_timers.end()) {
        killTimer(timer->second);
        m_timers.erase(timer);
    }
}

bool WindowBase::IsTimerSet(std::uint32_t id) const {
    return m_timers.contains(id);
}

WindowHandle WindowBase::Handle() const {
    return WindowHandle(m_target);
}

void WindowBase::PostMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    m_target->PostMessage(message, wParam, lParam);
}

LParam WindowBase::SendMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    return OnMessage(message, wParam, lParam);
}

WindowBase* WindowBase::FindControl(int id) const {
    // Qt's own search goes by meta-objects and takes every widget for a window of this base.
    for (QWidget* const widget : findChildren<QWidget*>()) {
        auto* const child = dynamic_cast<WindowBase*>(widget);
        if (child != nullptr && child->ControlId() == id) {
            return child;
        }
    }
    return nullptr;
}

void WindowBase::OnTimer(std::uint32_t) {}

LParam WindowBase::OnMessage(std::uint32_t, WParam, LParam) {
    return 0;
}

bool WindowBase::event(QEvent* event) {
    if (event->type() == NumberedMessageType()) {
        const auto& message = static_cast<const NumberedMessage&>(*event);
        CallPatiently([&] { OnMessage(message.message, message.wParam, message.lParam); });
        return true;
    }
    return QWidget::event(event);
}

void WindowBase::timerEvent(QTimerEvent* event) {
    for (const auto& [id, timer] : m_timers) {
        if (timer == event->timerId()) {
            const std::uint32_t number = id;  // the handler may change the map
            CallPatiently([&] { OnTimer(number); });
            return;
        }
    }
    QWidget::timerEvent(event);
}

}  // namespace kvmon
