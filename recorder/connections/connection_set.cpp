#include "connections/connection_set.h"

namespace kvrecorder {

void ConnectionSet::Add(std::shared_ptr<Connection> connection) {
    const std::lock_guard lock(mutex_);
    connections_.insert(std::move(connection));
}

void ConnectionSet::Remove(const std::shared_ptr<Connection>& connection) {
    const std::lock_guard lock(mutex_);
    connections_.erase(connection);
    changed_.notify_all();
}

std::size_t ConnectionSet::Size() const {
    const std::lock_guard lock(mutex_);
    return connections_.size();
}

std::vector<std::shared_ptr<Connection>> ConnectionSet::All() const {
    const std::lock_guard lock(mutex_);
    return {connections_.begin(), connections_.end()};
}

bool ConnectionSet::WaitEmpty(std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return connections_.empty(); });
}

}  // namespace kvrecorder
