// A Unix socket for commands, one a line.
#pragma once

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <asio/strand.hpp>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace kvrecorder {

struct ControlReply {
    std::string text;
    std::function<void()> afterwards;  // run once the text was written; may be empty
};

// Only the user who runs the recorder may connect. The handler runs on a thread of the context.
class ControlSocket {
public:
    using Handler = std::function<ControlReply(std::string_view line)>;

    // Throws ConfigError if the path cannot be used; one that a dead recorder left behind is taken over.
    ControlSocket(asio::io_context& io, std::string path, Handler handler);
    // The context must have ended, or Stop have been called.
    ~ControlSocket();

    void Stop();
    // Accepts again if a handler was torn by an exception. Any thread.
    void Resume();

private:
    class Session;
    struct Shared;

    void Accept();

    const std::string m_path;
    std::shared_ptr<Shared> m_shared;
    asio::strand<asio::io_context::executor_type> m_strand;
    asio::local::stream_protocol::acceptor m_acceptor;
    asio::steady_timer m_retry;
    bool m_stopped = false;  // on m_strand
};

// Sends one line to the socket at `path` and gives the reply. Throws ConfigError if nobody answers.
std::string SendControlCommand(const std::string& path, const std::string& line);

}  // namespace kvrecorder
