#include "connections/connection_set.h"

namespace kvrecorder {

void ConnectionSet::Add(std::shared_ptr<Connection> connection) {
    const std::lock_guard lock(m_mutex);
    m_connections.insert(std::move(connection));
}

void ConnectionSet::Remove(const std::shared_ptr<Connection>& connection) {
    const std::lock_guard lock(m_mutex);
    m_connections.erase(connection);
    m_changed.notify_all();
}

std::size_t ConnectionSet::Size() const {
    const std::lock_guard lock(m_mutex);
    return m_connections.size();
}

std::vector<std::shared_ptr<Connection>> ConnectionSet::All() const {
    const std::lock_guard lock(m_mutex);
    return {m_connections.begin(), m_connections.end()};
}

bool ConnectionSet::WaitEmpty(std::chrono::milliseconds timeout) const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_connections.empty(); });
}

}  // namespace kvrecorder
