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
    void Begin() { Accept(); }
    // No connection is handed on any more when `closed` is called, on a thread of the context.
    void Close(std::function<void()> closed);
    // "ADDRESS:PORT"; after Open.
    std::string Endpoint() const;
    std::uint16_t Port() const { return endpoint_.port(); }

private:
    void Accept();

    asio::io_context& io_;
    const std::function<void(asio::ip::tcp::socket)> admit_;
    asio::strand<asio::io_context::executor_type> strand_{io_.get_executor()};
    asio::ip::tcp::acceptor acceptor_{strand_};
    asio::steady_timer retry_{strand_};
    asio::ip::tcp::endpoint endpoint_;
    bool closed_ = false;  // on strand_
};

}  // namespace kvrecorder
