#include "service/control_socket.h"

#include <asio/post.hpp>
#include <asio/read.hpp>
#include <asio/read_until.hpp>
#include <asio/steady_timer.hpp>
#include <asio/streambuf.hpp>
#include <asio/write.hpp>

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>

#include "state/recorder_config.h"

namespace kvrecorder {

using Protocol = asio::local::stream_protocol;

namespace {

constexpr std::size_t kMaxLine = 1024;
constexpr int kMaxSessions = 16;
constexpr std::chrono::seconds kIdleTime{60};
constexpr std::chrono::milliseconds kAcceptPause{100};

void CheckPath(const std::string& path) {
    if (path.size() >= sizeof(sockaddr_un::sun_path)) {
        throw ConfigError("the control path is too long: " + path);
    }
}

// Removes a socket that nobody answers on any more; leaves anything else alone.
void RemoveStale(asio::io_context& io, const std::string& path) {
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0) {
        return;
    }
    std::error_code error;
    Protocol::socket probe(io);
    probe.connect(Protocol::endpoint(path), error);
    if (!S_ISSOCK(found.st_mode) || !error) {
        throw ConfigError("the control path is in use: " + path);
    }
    ::unlink(path.c_str());
}

}  // namespace

struct ControlSocket::Shared {
    Handler handler;
    std::atomic<int> sessions{0};
};

class ControlSocket::Session : public std::enable_shared_from_this<Session> {
public:
    Session(Protocol::socket socket, std::shared_ptr<Shared> shared)
        : m_socket(std::move(socket)), m_idle(m_socket.get_executor()), m_shared(std::move(shared)) {
        ++m_shared->sessions;
    }
    ~Session() { --m_shared->sessions; }

    void Read() {
        m_idle.expires_after(kIdleTime);
        m_idle.async_wait([weak = weak_from_this()](const std::error_code& error) {
            const auto self = weak.lock();
            if (!error && self) {
                std::error_code ignored;
                self->m_socket.close(ignored);
            }
        });
        asio::async_read_until(m_socket, m_input, '\n',
                               [self = shared_from_this()](const std::error_code& error, std::size_t length) {
                                   self->OnLine(error, length);
                               });
    }

private:
    void OnLine(const std::error_code& error, std::size_t length) {
        if (error) {
            m_idle.cancel();
            return;
        }
        const auto begin = asio::buffers_begin(m_input.data());
        const std::string line(begin, begin + static_cast<std::ptrdiff_t>(length - 1));
        m_input.consume(length);
        m_reply = m_shared->handler(line);
        asio::async_write(m_socket, asio::buffer(m_reply.text),
                          [self = shared_from_this()](const std::error_code& failed, std::size_t) {
                              if (self->m_reply.afterwards) {
                                  self->m_reply.afterwards();
                              }
                              if (!failed) {
                                  self->Read();
                              }
                          });
    }

    Protocol::socket m_socket;
    asio::steady_timer m_idle;
    asio::streambuf m_input{kMaxLine};
    ControlReply m_reply;
    const std::shared_ptr<Shared> m_shared;
};

ControlSocket::ControlSocket(asio::io_context& io, std::string path, Handler handler)
    : m_path(std::move(path)),
      m_shared(std::make_shared<Shared>()),
      m_strand(asio::make_strand(io)),
      m_acceptor(m_strand),
      m_retry(m_strand) {
    m_shared->handler = std::move(handler);
    CheckPath(m_path);
    RemoveStale(io, m_path);
    std::error_code error;
    m_acceptor.open(Protocol(), error);
    // Nobody else may connect, not even in the socket's first moment.
    const mode_t before = ::umask(0177);
    m_acceptor.bind(Protocol::endpoint(m_path), error);
    ::umask(before);
    if (!error) {
        m_acceptor.listen(asio::socket_base::max_listen_connections, error);
        if (error) {
            ::unlink(m_path.c_str());
        }
    }
    if (error) {
        throw ConfigError("cannot open the control socket " + m_path + ": " + error.message());
    }
    Accept();
}

ControlSocket::~ControlSocket() {
    ::unlink(m_path.c_str());
}

void ControlSocket::Stop() {
    asio::post(m_strand, [this] {
        m_stopped = true;
        std::error_code ignored;
        m_acceptor.close(ignored);
        m_retry.cancel();
    });
}

void ControlSocket::Resume() {
    asio::post(m_strand, [this] {
        if (m_stopped) {
            return;
        }
        // What was waited for may have gone with the handler.
        std::error_code ignored;
        m_acceptor.cancel(ignored);
        m_retry.cancel();
        Accept();
    });
}

void ControlSocket::Accept() {
    m_acceptor.async_accept(asio::make_strand(m_strand.get_inner_executor()),
                            [this](const std::error_code& error, Protocol::socket socket) {
                                if (m_stopped || error == asio::error::operation_aborted) {
                                    return;
                                }
                                if (error) {
                                    // Out of descriptors, most likely: the next try must not come at once.
                                    m_retry.expires_after(kAcceptPause);
                                    m_retry.async_wait([this](const std::error_code& ended) {
                                        if (!ended && !m_stopped) {
                                            Accept();
                                        }
                                    });
                                    return;
                                }
                                if (m_shared->sessions < kMaxSessions) {
                                    std::make_shared<Session>(std::move(socket), m_shared)->Read();
                                }
                                Accept();
                            });
}

std::string SendControlCommand(const std::string& path, const std::string& line) {
    CheckPath(path);
    asio::io_context io;
    Protocol::socket socket(io);
    std::error_code error;
    socket.connect(Protocol::endpoint(path), error);
    if (error) {
        throw ConfigError("no recorder answers at " + path + ": " + error.message());
    }
    asio::write(socket, asio::buffer(line + "\n"), error);
    socket.shutdown(Protocol::socket::shutdown_send, error);
    std::string reply;
    asio::read(socket, asio::dynamic_buffer(reply, 1 << 20), error);
    if (reply.empty()) {
        throw ConfigError("the recorder at " + path + " gave no reply");
    }
    return reply;
}

}  // namespace kvrecorder
