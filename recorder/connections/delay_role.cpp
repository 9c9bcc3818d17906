#include "connections/delay_role.h"

namespace kvrecorder {

DelayRole::DelayRole(Link& link, std::chrono::milliseconds delay, std::function<void()> over)
    : link_(link), delay_(delay), over_(std::move(over)) {}

void DelayRole::Begin() {
    link_.SetDeadline(TimePoint::max());
    link_.SetTimer(std::chrono::steady_clock::now() + delay_);
}

}  // namespace kvrecorder
