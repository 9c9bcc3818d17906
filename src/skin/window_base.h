// The window base: numbered timers, numbered messages, control identifiers.
#pragma once

#include <QtWidgets/QWidget>
#include <map>
#include <memory>

#include "platform/window_handle.h"

namespace kvmon {

// A widget with the platform's window operations. User interface thread only, but for what is posted
// through Handle().
class WindowBase : public QWidget {
public:
    explicit WindowBase(QWidget* parent = nullptr);
    ~WindowBase() override;

    // Starts the timer, or restarts it with the new period. A period of 0 fires at the next turn of the
    // event loop and then again, until killed.
    void SetTimer(std::uint32_t id, int periodMs);
    void KillTimer(std::uint32_t id);
    bool IsTimerSet(std::uint32_t id) const;

    // A handle for other threads; posts to it after this window's end are dropped.
    WindowHandle Handle() const;
    // Queues a message; the result comes from OnMessage at once with SendMessage.
    void PostMessage(std::uint32_t message, WParam wParam, LParam lParam);
    LParam SendMessage(std::uint32_t message, WParam wParam, LParam lParam);

    int ControlId() const { return m_controlId; }
    void SetControlId(int id) { m_controlId = id; }
    // The child (at any depth) with this identifier, or null.
    WindowBase* FindControl(int id) const;

protected:
    virtual void OnTimer(std::uint32_t id);
    // The base answers 0.
    virtual LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam);

    bool event(QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    class Target;
    std::shared_ptr<Target> m_target;
    std::map<std::uint32_t, int> m_timers;  // number to Qt's id
    int m_controlId = 0;
};

}  // namespace kvmon
