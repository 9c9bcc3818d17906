#include "connections/listener.h"

#include <asio/post.hpp>

#include <chrono>

#include "state/recorder_config.h"

namespace kvrecorder {

using asio::ip::tcp;

Listener::Listener(asio::io_context& io, std::function<void(tcp::socket)> admit)
    : m_io(io), m_admit(std::move(admit)) {}

void Listener::Open(const std::string& address, std::uint16_t port) {
    std::error_code error;
    const auto parsed = asio::ip::make_address(address, error);
    if (error) {
        throw ConfigError("\"" + address + "\" is no address");
    }
    const tcp::endpoint wanted(parsed, port);
    m_acceptor.open(wanted.protocol(), error);
    if (!error) {
        m_acceptor.set_option(asio::socket_base::reuse_address(true), error);
    }
    if (!error) {
        m_acceptor.bind(wanted, error);
    }
    if (!error) {
        m_acceptor.listen(asio::socket_base::max_listen_connections, error);
    }
    if (error) {
        throw ConfigError("cannot listen on " + address + ":" + std::to_string(port) + ": " +
                          error.message());
    }
    m_endpoint = m_acceptor.local_endpoint(error);
}

void Listener::Resume() {
    asio::post(m_strand, [this] {
        if (m_closed) {
            return;
        }
        // What was waited for may have gone with the handler.
        std::error_code ignored;
        m_acceptor.cancel(ignored);
        m_retry.cancel();
        Accept();
    });
}

void Listener::Accept() {
    m_acceptor.async_accept(asio::make_strand(m_io),
                            [this](const std::error_code& error, tcp::socket socket) {
                                if (m_closed || error == asio::error::operation_aborted) {
                                    return;
                                }
                                if (error) {
                                    // Out of descriptors, most likely: the next try must not come at once.
                                    m_retry.expires_after(std::chrono::milliseconds(100));
                                    m_retry.async_wait([this](const std::error_code& ended) {
                                        if (!ended && !m_closed) {
                                            Accept();
                                        }
                                    });
                                    return;
                                }
                                m_admit(std::move(socket));
                                Accept();
                            });
}

void Listener::Close(std::function<void()> closed) {
    asio::post(m_strand, [this, closed = std::move(closed)] {
        m_closed = true;
        std::error_code ignored;
        m_acceptor.close(ignored);
        m_retry.cancel();
        closed();
    });
}

std::string Listener::Endpoint() const {
    const std::string address = m_endpoint.address().to_string();
    return (m_endpoint.address().is_v6() ? "[" + address + "]" : address) + ":" +
           std::to_string(m_endpoint.port());
}

}  // namespace kvrecorder
