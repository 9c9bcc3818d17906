// Keeps the client waiting, as the configuration says.
#pragma once

#include <chrono>
#include <functional>

#include "connections/role.h"

namespace kvrecorder {

class DelayRole : public Role {
public:
    DelayRole(Link& link, std::chrono::milliseconds delay, std::function<void()> over);

    void Begin() override;
    bool OutlivesPeer() const override { return true; }
    void OnTimer() override { over_(); }

private:
    Link& link_;
    const std::chrono::milliseconds delay_;
    const std::function<void()> over_;
};

}  // namespace kvrecorder
