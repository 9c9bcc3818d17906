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

    Link& link_;
    Presence& users_;
    const Start start_;
    Change pending_;
    bool shutdown_ = false;
    bool open_ = false;  // as the presence knows
    TimePoint nextLine_{};
};

}  // namespace kvrecorder
