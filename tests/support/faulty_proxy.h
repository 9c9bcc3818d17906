// A relay between two ends of TCP connections that can fail on request.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace kvtest {

class FaultyProxy {
public:
    enum class Mode {
        Pass,
        Stall,   // nothing gets through any more
        Garble,  // of what the server sends some bytes are others
    };

    // Listens on a loopback port of the system's choice.
    explicit FaultyProxy(std::uint16_t target);
    ~FaultyProxy();
    FaultyProxy(const FaultyProxy&) = delete;
    FaultyProxy& operator=(const FaultyProxy&) = delete;

    std::uint16_t Port() const { return m_port; }
    void Set(Mode mode) { m_mode = mode; }
    // Of connections that come from now on.
    void Redirect(std::uint16_t target) { m_target = target; }
    int Connections() const { return m_connections; }
    // Ends all connections.
    void Cut() { ++m_cuts; }

private:
    void Accept();
    void Relay(int client);

    int m_listener = -1;
    std::uint16_t m_port = 0;
    std::atomic<std::uint16_t> m_target;
    std::atomic<Mode> m_mode = Mode::Pass;
    std::atomic<int> m_cuts = 0;
    std::atomic<int> m_connections = 0;
    std::atomic<bool> m_stopping = false;
    std::vector<std::thread> m_relays;  // of the accepting thread, until that has ended
    std::thread m_acceptor;
};

}  // namespace kvtest
