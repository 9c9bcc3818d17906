#include "connections/connection.h"

#include <asio/post.hpp>
#include <asio/write.hpp>

#include <algorithm>
#include <utility>

#include "connections/delay_role.h"
#include "connections/document_role.h"
#include "connections/notify_role.h"
#include "connections/request_role.h"
#include "connections/stream_role.h"
#include "connections/talk_role.h"
#include "connections/wait_role.h"

namespace kvrecorder {
namespace {

// No client waits so long for a first byte.
constexpr std::chrono::minutes kLongestSilence{10};

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket, ConnectionHost host)
    : socket_(std::move(socket)),
      host_(host),
      role_(std::make_shared<RequestRole>(AsLink(), host.model, began_ + host.timing.head,
                                          [this](Reply reply, Login login, std::chrono::milliseconds delay) {
                                              OnAnswer(std::move(reply), std::move(login), delay);
                                          })),
      deadlineTimer_(socket_.get_executor()),
      timer_(socket_.get_executor()) {}

void Connection::Start() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] {
        std::error_code ignored;
        self->socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
        self->role_->Begin();
        self->Read();
    });
}

void Connection::Changed(Change change) {
    asio::post(socket_.get_executor(), [self = shared_from_this(), change] {
        self->changed_ = std::max(self->changed_, change);
        self->Tell([change](Role& role) { role.OnChanged(change); });
    });
}

void Connection::Shutdown() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] {
        self->Tell([&self](Role& role) {
            if (!role.OnShutdown()) {
                self->End();
            }
        });
    });
}

void Connection::Close() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] { self->End(); });
}

void Connection::Abandon() {
    role_->Release();
}

template <typename Call>
void Connection::Tell(Call call) {
    if (standing_ != Standing::Closed) {
        const auto role = role_;
        call(*role);
    }
}

void Connection::OnAnswer(Reply reply, Login login, std::chrono::milliseconds delay) {
    if (delay == std::chrono::milliseconds::zero()) {
        Serve(reply, login);
        return;
    }
    Become(std::make_shared<DelayRole>(
        AsLink(), delay,
        [this, reply = std::move(reply), login = std::move(login)] { Serve(reply, login); }));
}

void Connection::Serve(const Reply& reply, const Login& login) {
    const Timing& timing = host_.timing;
    const std::string text = MakeReplyHead(reply) + reply.body;
    switch (reply.kind) {
        case ReplyKind::Document:
            EndWith(text);
            break;
        case ReplyKind::Stream:
            Become(std::make_shared<StreamRole>(AsLink(), host_.model, host_.sounds, queue_,
                                                StreamRole::Start{text, reply.channel, reply.stream, login}),
                   Standing::Stream);
            break;
        case ReplyKind::Notify:
            Become(std::make_shared<NotifyRole>(AsLink(), host_.model.Users(),
                                                NotifyRole::Start{text, reply.who, changed_, timing.notify}));
            break;
        case ReplyKind::Talk:
            Become(std::make_shared<TalkRole>(AsLink(), host_.model, host_.talks,
                                              TalkRole::Start{text, reply.channel, login, timing.talk}));
            break;
        case ReplyKind::Silence:
            Become(std::make_shared<WaitRole>(AsLink(), kLongestSilence));
            break;
    }
}

void Connection::Become(std::shared_ptr<Role> role, Standing standing) {
    const auto former = std::exchange(role_, role);
    standing_ = standing;
    former->Release();
    role->Begin();
}

void Connection::EndWith(std::string text) {
    Become(std::make_shared<DocumentRole>(AsLink(), std::move(text)));
}

// Closing at once could make the system throw away what the peer has not read yet.
void Connection::Linger() {
    if (peerDone_) {
        End();
        return;
    }
    std::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    Become(std::make_shared<WaitRole>(AsLink(), host_.timing.linger));
}

void Connection::End() {
    if (standing_ == Standing::Closed) {
        return;
    }
    standing_ = Standing::Closed;
    role_->Release();
    deadlineTimer_.cancel();
    timer_.cancel();
    std::error_code ignored;
    socket_.close(ignored);
    host_.set.Remove(shared_from_this());
}

void Connection::Read() {
    socket_.async_read_some(asio::buffer(input_),
                            [self = shared_from_this()](const std::error_code& error, std::size_t count) {
                                self->OnRead(error, count);
                            });
}

void Connection::OnRead(const std::error_code& error, std::size_t count) {
    Tell([&](Role& role) {
        if (error) {
            peerDone_ = true;
            if (!role.OutlivesPeer()) {
                End();
            }
            return;
        }
        const std::string_view rest = role.OnBytes({input_.data(), count});
        if (&role != role_.get()) {
            Tell([rest](Role& next) { next.OnBytes(rest); });
        }
        if (standing_ != Standing::Closed && role_->Reads()) {
            Read();
        }
    });
}

void Connection::Send(std::string_view text, PacketPtr packet) {
    outText_ = text;
    outPacket_ = std::move(packet);
    outDone_ = 0;
    Write();
}

void Connection::Write() {
    writing_ = true;
    SetDeadline(std::chrono::steady_clock::now() + host_.timing.stall);
    std::array<asio::const_buffer, 2> buffers;
    const std::size_t textDone = std::min(outDone_, outText_.size());
    buffers[0] = asio::buffer(outText_) + textDone;
    if (outPacket_) {
        buffers[1] = asio::buffer(outPacket_->data) + (outDone_ - textDone);
    }
    socket_.async_write_some(buffers,
                             [self = shared_from_this()](const std::error_code& error, std::size_t count) {
                                 self->OnWritten(error, count);
                             });
}

void Connection::OnWritten(const std::error_code& error, std::size_t count) {
    if (standing_ == Standing::Closed) {
        return;
    }
    if (error) {
        End();
        return;
    }
    outDone_ += count;
    if (outDone_ < outText_.size() + (outPacket_ ? outPacket_->data.size() : 0)) {
        Write();
        return;
    }
    outPacket_.reset();
    writing_ = false;
    SetDeadline(TimePoint::max());
    Tell([](Role& role) { role.OnSent(); });
}

void Connection::SetDeadline(TimePoint at) {
    deadline_ = at;
    if (at < armed_) {
        ArmDeadline();
    }
}

// The timer runs on when the deadline moves away, so that a stream does not set it for each picture.
void Connection::ArmDeadline() {
    armed_ = deadline_;
    deadlineTimer_.expires_at(deadline_);
    deadlineTimer_.async_wait([self = shared_from_this()](const std::error_code& error) {
        if (error || self->standing_ == Standing::Closed) {
            return;
        }
        self->armed_ = TimePoint::max();
        if (self->deadline_ <= std::chrono::steady_clock::now()) {
            self->End();
        } else if (self->deadline_ != TimePoint::max()) {
            self->ArmDeadline();
        }
    });
}

void Connection::SetTimer(TimePoint at) {
    timer_.expires_at(at);
    timer_.async_wait([self = shared_from_this()](const std::error_code& error) {
        if (!error) {
            self->Tell([](Role& role) { role.OnTimer(); });
        }
    });
}

std::string Connection::PeerAddress() const {
    std::error_code ignored;
    return socket_.remote_endpoint(ignored).address().to_string();
}

void Connection::SetSendBuffer(int bytes) {
    std::error_code ignored;
    socket_.set_option(asio::socket_base::send_buffer_size(bytes), ignored);
}

void Connection::SetReceiveBuffer(int bytes) {
    std::error_code ignored;
    socket_.set_option(asio::socket_base::receive_buffer_size(bytes), ignored);
}

std::function<void()> Connection::Waker() {
    return [weak = weak_from_this(), executor = socket_.get_executor()] {
        asio::post(executor, [weak] {
            if (const auto self = weak.lock()) {
                self->Tell([](Role& role) { role.OnWoken(); });
            }
        });
    };
}

std::function<void()> Connection::Ender() {
    return [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->Close();
        }
    };
}

}  // namespace kvrecorder
