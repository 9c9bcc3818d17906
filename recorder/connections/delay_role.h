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
    void OnTimer() override { m_over(); }

private:
    Link& m_link;
    const std::chrono::milliseconds m_delay;
    const std::function<void()> m_over;
};

}  // namespace kvrecorder
