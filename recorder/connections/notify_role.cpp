#include "connections/notify_role.h"

#include <algorithm>

namespace kvrecorder {

NotifyRole::NotifyRole(Link& link, Presence& users, Start start)
    : m_link(link), m_users(users), m_start(std::move(start)), m_pending(m_start.missed) {}

void NotifyRole::Begin() {
    m_users.OpenLine(m_start.who);
    m_open = true;
    m_link.Send(m_start.head);
}

void NotifyRole::OnChanged(Change change) {
    // A change of the configuration makes clients read the state too.
    m_pending = std::max(m_pending, change);
    NextLineIfFree();
}

bool NotifyRole::OnShutdown() {
    m_shutdown = true;
    NextLineIfFree();
    return true;
}

void NotifyRole::Release() {
    if (m_open) {
        m_open = false;
        m_users.CloseLine(m_start.who);
    }
}

void NotifyRole::NextLineIfFree() {
    if (!m_link.Sending()) {
        NextLine();
    }
}

void NotifyRole::NextLine() {
    if (m_shutdown) {
        m_link.EndWith("3\n");
        return;
    }
    if (m_pending == Change::None) {
        return;
    }
    const TimePoint now = std::chrono::steady_clock::now();
    if (now < m_nextLine) {
        // A burst of changes becomes one line: clients read everything anew for each.
        m_link.SetTimer(m_nextLine);
        return;
    }
    const bool configuration = m_pending == Change::Configuration;
    m_pending = Change::None;
    m_nextLine = now + m_start.pause;
    m_link.Send(configuration ? "2\n" : "1\n");
}

}  // namespace kvrecorder
