// Says nothing until the peer closes or the time is over: a recorder that does not answer, and one that has
// answered.
#pragma once

#include <chrono>

#include "connections/role.h"

namespace kvrecorder {

class WaitRole : public Role {
public:
    WaitRole(Link& link, std::chrono::milliseconds longest) : link_(link), longest_(longest) {}

    void Begin() override { link_.SetDeadline(std::chrono::steady_clock::now() + longest_); }

private:
    Link& link_;
    const std::chrono::milliseconds longest_;
};

}  // namespace kvrecorder
