// A TCP server on a loopback port of the system's choice whose every connection runs a script.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace kvtest {

using std::chrono::milliseconds;

// One accepted connection, as its script sees it.
class Peer {
public:
    Peer(int socket, int number, const std::atomic<bool>& stopping)
        : m_socket(socket), m_number(number), m_stopping(stopping) {}

    // Counts connections from 0.
    int Number() const { return m_number; }
    // Reads up to and including the blank line that ends a request head. What came so far if the peer
    // closes or the server stops.
    std::string ReadHead();
    // Reads exactly `count` bytes, fewer if the peer closes or the server stops.
    std::string Read(std::size_t count);
    // False if the peer is gone.
    bool Write(std::string_view bytes);
    // Waits until the peer closes its side; drops what it sends meanwhile. False at the time's end.
    bool WaitClosed(milliseconds timeout = milliseconds(10000));
    // Holds the connection open, silent, until the peer closes or the server stops.
    void Hold();
    void Close();
    // Closes with a reset in place of an orderly end.
    void Reset();

private:
    bool WaitReadable();
    std::string ReceiveHead();

    int m_socket;
    int m_number;
    const std::atomic<bool>& m_stopping;
    std::string m_head;  // read ahead
    friend class ScriptedServer;
};

class ScriptedServer {
public:
    using Script = std::function<void(Peer&)>;

    // Each connection runs `script` on a thread of its own; it is closed when the script returns. With
    // `only`, the script gets just the requests that hold this text; all others are answered with the number
    // 0 and the tag of sound, as by a camera that can do nothing but hear, and are neither counted nor noted.
    explicit ScriptedServer(Script script, std::string only = {});
    // Ends all connections and waits for their scripts.
    ~ScriptedServer();

    std::uint16_t Port() const { return m_port; }
    int ConnectionCount() const;
    // Every request head that a script read, in the order of reading.
    std::vector<std::string> Heads() const;
    // Waits until `count` heads were read in all.
    bool WaitForHeads(std::size_t count, milliseconds timeout = milliseconds(10000)) const;

private:
    void AcceptLoop();
    void Serve(int socket);
    void Note(std::string head);

    const Script m_script;
    const std::string m_only;
    int m_listener = -1;
    std::uint16_t m_port = 0;
    std::atomic<bool> m_stopping{false};
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<std::string> m_heads;
    int m_connections = 0;
    std::vector<std::thread> m_threads;
    std::thread m_acceptor;
};

// Sends the same to every connection and then holds it open.
ScriptedServer::Script SendAndHold(std::string reply);

// A reply head of version 1.0 with the status and a blank line, and the body behind it.
std::string HttpReply(int status, std::string_view reason, std::string_view body);

// A loopback port on which nothing listens at present.
std::uint16_t UnusedPort();

}  // namespace kvtest
