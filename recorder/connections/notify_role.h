// A notification connection: a line for each change.
#pragma once

#include <chrono>
#include <string>

#include "connections/role.h"
#include "state/presence.h"

namespace kvrecorder {

class NotifyRole : public Role {
public:
    struct Start {
        std::string head;                 // of the reply
        std::string who;                  // is there as long as the connection
        Change missed;                    // since the client connected
        std::chrono::milliseconds pause;  // between two lines
    };

    NotifyRole(Link& link, Presence& users, Start start);

    void Begin() override;
    void OnSent() override { NextLine(); }
    void OnTimer() override { NextLineIfFree(); }
    void OnChanged(Change change) override;
    bool OnShutdown() override;
    void Release() override;

private:
    void NextLineIfFree();
    void NextLine();

    Link& m_link;
    Presence& m_users;
    const Start m_start;
    Change m_pending;
    bool m_shutdown = false;
    bool m_open = false;  // as the presence knows
    TimePoint m_nextLine{};
};

}  // namespace kvrecorder
