#include "connections/listener.h"

#include <asio/post.hpp>

#include <chrono>

#include "state/recorder_config.h"

namespace kvrecorder {

using asio::ip::tcp;

Listener::Listener(asio::io_context& io, std::function<void(tcp::socket)> admit)
    : io_(io), admit_(std::move(admit)) {}

void Listener::Open(const std::string& address, std::uint16_t port) {
    std::error_code error;
    const auto parsed = asio::ip::make_address(address, error);
    if (error) {
        throw ConfigError("\"" + address + "\" is no address");
    }
    const tcp::endpoint wanted(parsed, port);
    acceptor_.open(wanted.protocol(), error);
    if (!error) {
        acceptor_.set_option(asio::socket_base::reuse_address(true), error);
    }
    if (!error) {
        acceptor_.bind(wanted, error);
    }
    if (!error) {
        acceptor_.listen(asio::socket_base::max_listen_connections, error);
    }
    if (error) {
        throw ConfigError("cannot listen on " + address + ":" + std::to_string(port) + ": " +
                          error.message());
    }
    endpoint_ = acceptor_.local_endpoint(error);
}

void Listener::Accept() {
    acceptor_.async_accept(asio::make_strand(io_), [this](const std::error_code& error, tcp::socket socket) {
        if (closed_ || error == asio::error::operation_aborted) {
            return;
        }
        if (error) {
            // Out of descriptors, most likely: the next try must not come at once.
            retry_.expires_after(std::chrono::milliseconds(100));
            retry_.async_wait([this](const std::error_code& ended) {
                if (!ended && !closed_) {
                    Accept();
                }
            });
            return;
        }
        admit_(std::move(socket));
        Accept();
    });
}

void Listener::Close(std::function<void()> closed) {
    asio::post(strand_, [this, closed = std::move(closed)] {
        closed_ = true;
        std::error_code ignored;
        acceptor_.close(ignored);
        retry_.cancel();
        closed();
    });
}

std::string Listener::Endpoint() const {
    const std::string address = endpoint_.address().to_string();
    return (endpoint_.address().is_v6() ? "[" + address + "]" : address) + ":" +
           std::to_string(endpoint_.port());
}

}  // namespace kvrecorder
