// Says nothing until the peer closes or the time is over: a recorder that does not answer, and one that has
// answered.
#pragma once

#include <chrono>

#include "connections/role.h"

namespace kvrecorder {

class WaitRole : public Role {
public:
    WaitRole(Link& link, std::chrono::milliseconds longest) : m_link(link), m_longest(longest) {}

    void Begin() override { m_link.SetDeadline(std::chrono::steady_clock::now() + m_longest); }

private:
    Link& m_link;
    const std::chrono::milliseconds m_longest;
};

}  // namespace kvrecorder
