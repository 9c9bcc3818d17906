// One listening socket that hands each new connection on.
#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <asio/strand.hpp>

#include <cstdint>
#include <functional>
#include <string>

namespace kvrecorder {

// Must live as long as the context runs. The calls of `admit` come one at a time, each with a socket on a
// strand of its own.
class Listener {
public:
    Listener(asio::io_context& io, std::function<void(asio::ip::tcp::socket)> admit);

    // Throws ConfigError if the address cannot be used. Port 0 is the system's choice.
    void Open(const std::string& address, std::uint16_t port);
    void Begin() { Resume(); }
    // Listens again if a handler was torn by an exception. Any thread.
    void Resume();
    // No connection is handed on any more when `closed` is called, on a thread of the context.
    void Close(std::function<void()> closed);
    // "ADDRESS:PORT"; after Open.
    std::string Endpoint() const;
    std::uint16_t Port() const { return m_endpoint.port(); }

private:
    void Accept();

    asio::io_context& m_io;
    const std::function<void(asio::ip::tcp::socket)> m_admit;
    asio::strand<asio::io_context::executor_type> m_strand{m_io.get_executor()};
    asio::ip::tcp::acceptor m_acceptor{m_strand};
    asio::steady_timer m_retry{m_strand};
    asio::ip::tcp::endpoint m_endpoint;
    bool m_closed = false;  // on m_strand
};

}  // namespace kvrecorder
