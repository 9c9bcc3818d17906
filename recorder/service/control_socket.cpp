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
        : socket_(std::move(socket)), idle_(socket_.get_executor()), shared_(std::move(shared)) {
        ++shared_->sessions;
    }
    ~Session() { --shared_->sessions; }

    void Read() {
        idle_.expires_after(kIdleTime);
        idle_.async_wait([weak = weak_from_this()](const std::error_code& error) {
            const auto self = weak.lock();
            if (!error && self) {
                std::error_code ignored;
                self->socket_.close(ignored);
            }
        });
        asio::async_read_until(socket_, input_, '\n',
                               [self = shared_from_this()](const std::error_code& error, std::size_t length) {
                                   self->OnLine(error, length);
                               });
    }

private:
    void OnLine(const std::error_code& error, std::size_t length) {
        if (error) {
            idle_.cancel();
            return;
        }
        const auto begin = asio::buffers_begin(input_.data());
        const std::string line(begin, begin + static_cast<std::ptrdiff_t>(length - 1));
        input_.consume(length);
        reply_ = shared_->handler(line);
        asio::async_write(socket_, asio::buffer(reply_.text),
                          [self = shared_from_this()](const std::error_code& failed, std::size_t) {
                              if (self->reply_.afterwards) {
                                  self->reply_.afterwards();
                              }
                              if (!failed) {
                                  self->Read();
                              }
                          });
    }

    Protocol::socket socket_;
    asio::steady_timer idle_;
    asio::streambuf input_{kMaxLine};
    ControlReply reply_;
    const std::shared_ptr<Shared> shared_;
};

ControlSocket::ControlSocket(asio::io_context& io, std::string path, Handler handler)
    : path_(std::move(path)),
      shared_(std::make_shared<Shared>()),
      strand_(asio::make_strand(io)),
      acceptor_(strand_) {
    shared_->handler = std::move(handler);
    CheckPath(path_);
    RemoveStale(io, path_);
    std::error_code error;
    acceptor_.open(Protocol(), error);
    // From its first moment on nobody else may connect.
    const mode_t before = ::umask(0177);
    acceptor_.bind(Protocol::endpoint(path_), error);
    ::umask(before);
    if (!error) {
        acceptor_.listen(asio::socket_base::max_listen_connections, error);
    }
    if (error) {
        throw ConfigError("cannot open the control socket " + path_ + ": " + error.message());
    }
    Accept();
}

ControlSocket::~ControlSocket() {
    ::unlink(path_.c_str());
}

void ControlSocket::Stop() {
    asio::post(strand_, [this] {
        std::error_code ignored;
        acceptor_.close(ignored);
    });
}

void ControlSocket::Accept() {
    acceptor_.async_accept(asio::make_strand(strand_.get_inner_executor()),
                           [this](const std::error_code& error, Protocol::socket socket) {
                               if (error) {
                                   return;
                               }
                               if (shared_->sessions < kMaxSessions) {
                                   std::make_shared<Session>(std::move(socket), shared_)->Read();
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
