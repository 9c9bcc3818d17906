// Keeps the desktop from blanking the display and starting its screensaver.
#pragma once

#include <memory>

#include "platform/worker.h"

namespace kvmon {

// Asks the screensaver of the session, or where there is none the desktop's portal, on a thread of its own:
// a service that is missing or hangs holds up nobody, and one that comes later is asked within a minute. User
// interface thread only.
class StayAwake {
public:
    StayAwake();
    ~StayAwake();
    StayAwake(const StayAwake&) = delete;
    StayAwake& operator=(const StayAwake&) = delete;

    void Set(bool on);

private:
    struct Wish;

    const std::shared_ptr<Wish> m_wish;
    Worker m_thread;
};

}  // namespace kvmon
