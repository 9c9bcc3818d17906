// Before Qt's headers: one of GLib's structures has a member named `signals`.
#include <glib.h>

#include <QtCore/QAbstractEventDispatcher>
#include <thread>

#include "app/main_loop_sleep.h"
#include "skin/sleep_gate.h"

namespace kvmon {

namespace {

// GLib's hook has no place for an object.
struct Hook {
    SleepGate* gate = nullptr;
    std::thread::id thread;
    GPollFunc before = nullptr;
};

Hook& TheHook() {
    static Hook hook;
    return hook;
}

int PollAsleep(GPollFD* files, guint count, int timeout) {
    const Hook& hook = TheHook();
    if (timeout == 0 || std::this_thread::get_id() != hook.thread) {
        return hook.before(files, count, timeout);
    }
    hook.gate->Sleep();
    const int found = hook.before(files, count, timeout);
    hook.gate->Wake();
    return found;
}

}  // namespace

MainLoopSleep::MainLoopSleep(SleepGate& gate) {
    const QAbstractEventDispatcher* const loop = QAbstractEventDispatcher::instance();
    if (loop == nullptr || !loop->inherits("QEventDispatcherGlib")) {
        return;
    }
    GMainContext* const context = g_main_context_default();
    TheHook() = {
        .gate = &gate, .thread = std::this_thread::get_id(), .before = g_main_context_get_poll_func(context)};
    g_main_context_set_poll_func(context, &PollAsleep);
}

bool MainLoopSleep::IsOn() const {
    return TheHook().gate != nullptr;
}

MainLoopSleep::~MainLoopSleep() {
    if (IsOn()) {
        g_main_context_set_poll_func(g_main_context_default(), TheHook().before);
        TheHook().gate = nullptr;
    }
}

}  // namespace kvmon
