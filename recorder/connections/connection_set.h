// The connections that are open.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <unordered_set>
#include <vector>

namespace kvrecorder {

class Connection;

// May be used from any thread.
class ConnectionSet {
public:
    void Add(std::shared_ptr<Connection> connection);
    void Remove(const std::shared_ptr<Connection>& connection);
    std::size_t Size() const;
    std::vector<std::shared_ptr<Connection>> All() const;
    // Waits until none is left; false at the time's end.
    bool WaitEmpty(std::chrono::milliseconds timeout) const;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::unordered_set<std::shared_ptr<Connection>> m_connections;
};

}  // namespace kvrecorder
