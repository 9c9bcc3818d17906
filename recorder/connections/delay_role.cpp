#include "connections/delay_role.h"

namespace kvrecorder {

DelayRole::DelayRole(Link& link, std::chrono::milliseconds delay, std::function<void()> over)
    : m_link(link), m_delay(delay), m_over(std::move(over)) {}

void DelayRole::Begin() {
    m_link.SetDeadline(TimePoint::max());
    m_link.SetTimer(std::chrono::steady_clock::now() + m_delay);
}

}  // namespace kvrecorder
