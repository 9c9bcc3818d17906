#include "connections/notify_role.h"

#include <algorithm>

namespace kvrecorder {

NotifyRole::NotifyRole(Link& link, Presence& users, Start start)
    : link_(link), users_(users), start_(std::move(start)), pending_(start_.missed) {}

void NotifyRole::Begin() {
    users_.OpenLine(start_.who);
    open_ = true;
    link_.Send(start_.head);
}

void NotifyRole::OnChanged(Change change) {
    // A change of the configuration makes clients read the state too.
    pending_ = std::max(pending_, change);
    NextLineIfFree();
}

bool NotifyRole::OnShutdown() {
    shutdown_ = true;
    NextLineIfFree();
    return true;
}

void NotifyRole::Release() {
    if (open_) {
        open_ = false;
        users_.CloseLine(start_.who);
    }
}

void NotifyRole::NextLineIfFree() {
    if (!link_.Sending()) {
        NextLine();
    }
}

void NotifyRole::NextLine() {
    if (shutdown_) {
        link_.EndWith("3\n");
        return;
    }
    if (pending_ == Change::None) {
        return;
    }
    const TimePoint now = std::chrono::steady_clock::now();
    if (now < nextLine_) {
        // A burst of changes becomes one line: clients read everything anew for each.
        link_.SetTimer(nextLine_);
        return;
    }
    const bool configuration = pending_ == Change::Configuration;
    pending_ = Change::None;
    nextLine_ = now + start_.pause;
    link_.Send(configuration ? "2\n" : "1\n");
}

}  // namespace kvrecorder
