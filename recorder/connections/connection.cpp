#include "connections/connection.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <asio/post.hpp>
#include <asio/write.hpp>

#include <algorithm>
#include <cstring>
#include <utility>

#include "connections/delay_role.h"
#include "connections/document_role.h"
#include "connections/later_role.h"
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
    : m_socket(std::move(socket)),
      m_host(host),
      m_role(std::make_shared<RequestRole>(AsLink(), host.model, host.api, m_began + host.timing.head,
                                           [this](Reply reply, Login login, std::chrono::milliseconds delay) {
                                               OnAnswer(std::move(reply), std::move(login), delay);
                                           })),
      m_deadlineTimer(m_socket.get_executor()),
      m_timer(m_socket.get_executor()) {
    m_wayBack->executor = m_socket.get_executor();
}

Connection::~Connection() {
    const std::lock_guard lock(m_wayBack->mutex);
    m_wayBack->executor.reset();
}

void Connection::Start() {
    asio::post(m_socket.get_executor(), [self = shared_from_this()] {
        std::error_code ignored;
        self->m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
        self->Safely([&self] {
            self->m_role->Begin();
            self->Read();
        });
    });
}

void Connection::Changed(Change change) {
    asio::post(m_socket.get_executor(), [self = shared_from_this(), change] {
        self->m_changed = std::max(self->m_changed, change);
        self->Tell([change](Role& role) { role.OnChanged(change); });
    });
}

void Connection::Shutdown() {
    asio::post(m_socket.get_executor(), [self = shared_from_this()] {
        self->Tell([&self](Role& role) {
            if (!role.OnShutdown()) {
                self->End();
            }
        });
    });
}

void Connection::Close() {
    asio::post(m_socket.get_executor(), [self = shared_from_this()] { self->End(); });
}

void Connection::Abandon() {
    m_role->Release();
}

// What throws, mostly since memory is short, costs this connection and no other.
template <typename Work>
void Connection::Safely(Work work) {
    try {
        work();
    } catch (const std::exception&) {
        End();
    }
}

template <typename Call>
void Connection::Tell(Call call) {
    if (m_standing != Standing::Closed) {
        const auto role = m_role;
        Safely([&] { call(*role); });
    }
}

void Connection::OnAnswer(Reply reply, Login login, std::chrono::milliseconds delay) {
    m_refused = reply.status >= 400;
    const Places places(m_host.model.Current()->server);
    if (!m_refused && !m_host.set.Claim(shared_from_this(), places, reply.user)) {
        reply = Refuse(503);
        m_refused = true;
    }
    if (delay == std::chrono::milliseconds::zero()) {
        Serve(reply, login);
        return;
    }
    Become(std::make_shared<DelayRole>(
               AsLink(), delay,
               [this, reply = std::move(reply), login = std::move(login)] { Serve(reply, login); }),
           m_refused ? Standing::Passing : Standing::Other);
}

void Connection::Serve(const Reply& reply, const Login& login) {
    const Timing& timing = m_host.timing;
    const std::string text = MakeReplyHead(reply) + reply.body;
    switch (reply.kind) {
        case ReplyKind::Document:
            EndWith(text);
            break;
        case ReplyKind::Stream:
            Become(std::make_shared<StreamRole>(AsLink(), m_host.model, m_host.sounds, m_queue,
                                                StreamRole::Start{text, reply.channel, reply.stream, login}),
                   Standing::Stream);
            break;
        case ReplyKind::Notify:
            Become(
                std::make_shared<NotifyRole>(AsLink(), m_host.model.Users(),
                                             NotifyRole::Start{text, reply.who, m_changed, timing.notify}));
            break;
        case ReplyKind::Talk:
            Become(std::make_shared<TalkRole>(AsLink(), m_host.model, m_host.talks,
                                              TalkRole::Start{text, reply.channel, login, timing.talk}));
            break;
        case ReplyKind::Later:
            Become(std::make_shared<LaterRole>(AsLink(), reply.headFirst ? text : std::string(), reply.find));
            break;
        case ReplyKind::Silence:
            Become(std::make_shared<WaitRole>(AsLink(), kLongestSilence));
            break;
    }
}

void Connection::Become(std::shared_ptr<Role> role, Standing standing) {
    const auto former = std::exchange(m_role, std::move(role));
    const auto now = m_role;  // it may give way to another at once
    m_standing = standing;
    former->Release();
    now->Begin();
}

void Connection::EndWith(std::string text) {
    Become(std::make_shared<DocumentRole>(AsLink(), std::move(text)),
           m_refused ? Standing::Passing : Standing::Other);
}

// Closing at once could make the system throw away what the peer has not read yet.
void Connection::Linger() {
    if (m_peerDone) {
        End();
        return;
    }
    std::error_code ignored;
    m_socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    m_host.set.Unclaim(shared_from_this());
    Become(std::make_shared<WaitRole>(AsLink(), m_host.timing.linger), Standing::Passing);
}

void Connection::End() {
    if (m_standing == Standing::Closed) {
        return;
    }
    m_standing = Standing::Closed;
    m_role->Release();
    m_deadlineTimer.cancel();
    m_timer.cancel();
    std::error_code ignored;
    m_socket.close(ignored);
    m_host.set.Remove(shared_from_this());
}

void Connection::Read() {
    m_socket.async_read_some(asio::buffer(m_input),
                             [self = shared_from_this()](const std::error_code& error, std::size_t count) {
                                 self->OnRead(error, count);
                             });
}

void Connection::OnRead(const std::error_code& error, std::size_t count) {
    Tell([&](Role& role) {
        if (error) {
            m_peerDone = true;
            if (!role.OutlivesPeer()) {
                End();
            }
            return;
        }
        const std::string_view rest = role.OnBytes({m_input.data(), count});
        if (&role != m_role.get()) {
            Tell([rest](Role& next) { next.OnBytes(rest); });
        }
        ::explicit_bzero(m_input.data(), count);  // it may have been a password
        if (m_standing != Standing::Closed && m_role->Reads()) {
            Read();
        }
    });
}

void Connection::Send(std::string_view text, PacketPtr packet) {
    SendRest(text, std::move(packet), 0);
}

void Connection::SendRest(std::string_view text, PacketPtr packet, std::size_t sent) {
    m_outText = text;
    m_outPacket = std::move(packet);
    m_outDone = sent;
    Write();
}

// What fails is told to the one who sends the rest.
std::size_t Connection::SendNow(std::string_view text, const Packet& packet) {
    std::array<iovec, 2> pieces = {
        iovec{const_cast<char*>(text.data()), text.size()},
        iovec{const_cast<std::uint8_t*>(packet.data.data()), packet.data.size()},
    };
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen = pieces.size();
    const ssize_t sent = ::sendmsg(m_socket.native_handle(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    return sent > 0 ? static_cast<std::size_t>(sent) : 0;
}

void Connection::Write() {
    m_writing = true;
    SetDeadline(std::chrono::steady_clock::now() + m_host.timing.stall);
    std::array<asio::const_buffer, 2> buffers;
    const std::size_t textDone = std::min(m_outDone, m_outText.size());
    buffers[0] = asio::buffer(m_outText) + textDone;
    if (m_outPacket) {
        buffers[1] = asio::buffer(m_outPacket->data) + (m_outDone - textDone);
    }
    m_socket.async_write_some(buffers,
                              [self = shared_from_this()](const std::error_code& error, std::size_t count) {
                                  self->OnWritten(error, count);
                              });
}

void Connection::OnWritten(const std::error_code& error, std::size_t count) {
    if (m_standing == Standing::Closed) {
        return;
    }
    if (error) {
        End();
        return;
    }
    m_outDone += count;
    if (m_outDone < m_outText.size() + (m_outPacket ? m_outPacket->data.size() : 0)) {
        Safely([this] { Write(); });
        return;
    }
    m_outPacket.reset();
    m_writing = false;
    SetDeadline(TimePoint::max());
    Tell([](Role& role) { role.OnSent(); });
}

void Connection::SetDeadline(TimePoint at) {
    m_deadline = at;
    if (at < m_armed) {
        ArmDeadline();
    }
}

// The timer runs on when the deadline moves away, so that a stream does not set it for each picture.
void Connection::ArmDeadline() {
    m_armed = m_deadline;
    m_deadlineTimer.expires_at(m_deadline);
    m_deadlineTimer.async_wait([self = shared_from_this()](const std::error_code& error) {
        if (error || self->m_standing == Standing::Closed) {
            return;
        }
        self->m_armed = TimePoint::max();
        if (self->m_deadline <= std::chrono::steady_clock::now()) {
            self->End();
        } else if (self->m_deadline != TimePoint::max()) {
            self->ArmDeadline();
        }
    });
}

void Connection::SetTimer(TimePoint at) {
    m_timer.expires_at(at);
    m_timer.async_wait([self = shared_from_this()](const std::error_code& error) {
        if (!error) {
            self->Tell([](Role& role) { role.OnTimer(); });
        }
    });
}

std::string Connection::PeerAddress() const {
    std::error_code ignored;
    return m_socket.remote_endpoint(ignored).address().to_string();
}

void Connection::SetSendBuffer(int bytes) {
    std::error_code ignored;
    m_socket.set_option(asio::socket_base::send_buffer_size(bytes), ignored);
}

void Connection::SetReceiveBuffer(int bytes) {
    std::error_code ignored;
    m_socket.set_option(asio::socket_base::receive_buffer_size(bytes), ignored);
}

std::function<void()> Connection::Waker() {
    return [weak = weak_from_this(), way = m_wayBack] {
        way->Post([weak] {
            if (const auto self = weak.lock()) {
                self->Tell([](Role& role) { role.OnWoken(); });
            }
        });
    };
}

std::function<void()> Connection::Ender() {
    return [weak = weak_from_this(), way = m_wayBack] {
        way->Post([weak] {
            if (const auto self = weak.lock()) {
                self->End();
            }
        });
    };
}

}  // namespace kvrecorder
