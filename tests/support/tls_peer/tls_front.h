// Makes a camera that speaks plainly one that is encrypted: stands before it on a loopback port.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace kvtest {

class TlsFront {
public:
    // The certificate's file has its key, too.
    TlsFront(std::uint16_t behind, const std::string& certificate);
    // Ends all connections and waits for their threads.
    ~TlsFront();
    TlsFront(const TlsFront&) = delete;

    std::uint16_t Port() const { return m_port; }
    // Of the connections from now on.
    void Show(const std::string& certificate);
    // That came, and that were taken by who connected.
    int Connections() const { return m_connections; }
    int Taken() const { return m_taken; }

private:
    void AcceptLoop();
    void Serve(int socket, const std::string& certificate);

    const std::uint16_t m_behind;
    int m_listener = -1;
    std::uint16_t m_port = 0;
    std::atomic<bool> m_stopping{false};
    std::atomic<int> m_connections{0};
    std::atomic<int> m_taken{0};
    std::mutex m_mutex;
    std::string m_certificate;
    std::vector<int> m_sockets;  // of the threads that run
    std::vector<std::thread> m_threads;
    std::thread m_acceptor;
};

}  // namespace kvtest
