#include "connections/camera_connection.h"

#include <algorithm>
#include <asio/post.hpp>
#include <cstring>

#include "answers/sign_in.h"

namespace kvrecorder {
namespace {

constexpr int kSendBuffer = 256 * 1024;
constexpr int kStatusOk = 200;
// Clients compare the line before a part with what the header tells, to its end.
constexpr std::string_view kBoundary = "--picture\r\n";
// And they want two empty lines behind a picture.
constexpr std::string_view kBehindPicture = "\r\n\r\n";

std::string StreamHead() {
    return "HTTP/1.0 200 OK\r\nCache-Control: no-store\r\nConnection: close\r\n"
           "Content-Type: multipart/x-mixed-replace; boundary=" +
           std::string(kBoundary) + "\r\n";
}

std::string PartHead(std::size_t length) {
    return std::string(kBoundary) + "Content-Type: image/jpeg\r\nContent-Length: " + std::to_string(length) +
           "\r\n\r\n";
}

// The stream of a channel that consists of JPEG pictures; nothing if there is none.
std::optional<int> JpegStream(const Channel& channel) {
    for (std::size_t i = 0; i < channel.streams.size(); ++i) {
        if (channel.streams[i].codec == Codec::Mjpeg) {
            return static_cast<int>(i);
        }
    }
    return std::nullopt;
}

}  // namespace

CameraConnection::CameraConnection(asio::ip::tcp::socket socket, RecorderModel& model, const Timing& timing,
                                   Gone gone)
    : m_socket(std::move(socket)),
      m_model(model),
      m_timing(timing),
      m_gone(std::move(gone)),
      m_deadline(m_socket.get_executor()),
      m_delay(m_socket.get_executor()) {}

// What throws, mostly since memory is short, costs this connection and no other.
template <typename Work>
void CameraConnection::Safely(Work work) {
    try {
        work();
    } catch (const std::exception&) {
        DoClose();
    }
}

void CameraConnection::Start() {
    asio::post(m_socket.get_executor(), [self = shared_from_this()] {
        std::error_code ignored;
        self->m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
        self->m_socket.set_option(asio::socket_base::send_buffer_size(kSendBuffer), ignored);
        self->Safely([&self] {
            self->SetDeadline(self->m_timing.head);
            self->Read();
        });
    });
}

void CameraConnection::Close() {
    asio::post(m_socket.get_executor(), [self = shared_from_this()] { self->DoClose(); });
}

void CameraConnection::Changed() {
    asio::post(m_socket.get_executor(), [self = shared_from_this()] {
        if (self->m_stage == Stage::Streaming && !self->m_closed) {
            self->Safely([&self] { self->OnChanged(); });
        }
    });
}

void CameraConnection::OnChanged() {
    const SnapshotPtr state = m_model.Current();
    const int channel = m_request.ChannelIndex();
    if (m_request.Judge(*state) != kStatusOk || m_request.ChannelIndex() != channel) {
        DoClose();
        return;
    }
    const Channel& now = state->channels[static_cast<std::size_t>(channel)];
    if (now.sourceNumber != m_sourceNumber) {
        m_subscription.reset();
        m_queue->Restart();
        if (!Subscribe(*state)) {
            DoClose();
        }
    }
}

void CameraConnection::Read() {
    m_socket.async_read_some(asio::buffer(m_input),
                             [self = shared_from_this()](const std::error_code& error, std::size_t count) {
                                 if (self->m_closed) {
                                     return;
                                 }
                                 if (error) {
                                     self->DoClose();
                                     return;
                                 }
                                 self->Safely([&] { self->OnRead(count); });
                             });
}

void CameraConnection::OnRead(std::size_t count) {
    if (m_stage == Stage::Head) {
        switch (m_request.Feed({m_input.data(), count})) {
            case RequestHead::State::Incomplete:
                break;
            case RequestHead::State::Complete:
                OnHead();
                break;
            case RequestHead::State::Bad:
                Refuse(kvrecorder::Refuse(400));
                break;
        }
    }
    ::explicit_bzero(m_input.data(), count);  // it may have been a password
    if (!m_closed) {
        Read();  // what comes behind the head is dropped
    }
}

void CameraConnection::OnHead() {
    const SnapshotPtr state = m_model.Current();
    const int status = m_request.Answer(*state);
    if (m_request.AsksForLogin(*state)) {
        std::error_code ignored;
        const std::string peer = m_socket.remote_endpoint(ignored).address().to_string();
        if (const auto refusal = RefuseLogin(m_model, state->server.logins, m_request.Request(), peer,
                                             [status] { return status == kStatusOk; })) {
            Refuse(*refusal);
            return;
        }
    } else if (status != kStatusOk) {
        Refuse(kvrecorder::Refuse(status));
        return;
    }
    if (!Subscribe(*state)) {
        Refuse(kvrecorder::Refuse(404));
        return;
    }
    m_stage = Stage::Streaming;
    m_before = StreamHead();
    Write();
}

void CameraConnection::Refuse(const Reply& reply) {
    m_stage = Stage::Refused;
    m_before = MakeReplyHead(reply) + reply.body;
    const std::chrono::milliseconds delay(reply.delayMs);
    SetDeadline(delay + m_timing.stall);
    m_delay.expires_after(delay);
    m_delay.async_wait([self = shared_from_this()](const std::error_code& error) {
        if (!error && !self->m_closed) {
            self->Write();
        }
    });
}

bool CameraConnection::Subscribe(const Snapshot& state) {
    const Channel& channel = state.channels[static_cast<std::size_t>(m_request.ChannelIndex())];
    const auto stream = JpegStream(channel);
    if (!stream) {
        return false;
    }
    m_sourceNumber = channel.sourceNumber;
    m_subscription = m_model.Hub().Subscribe(m_request.ChannelIndex(), *stream,
                                             [queue = m_queue, weak = weak_from_this(),
                                              executor = m_socket.get_executor()](const PacketPtr& packet) {
                                                 if (!queue->Push(packet)) {
                                                     return;
                                                 }
                                                 asio::post(executor, [weak] {
                                                     const auto self = weak.lock();
                                                     if (self && !self->m_closed && !self->m_writing) {
                                                         self->NextPicture();
                                                     }
                                                 });
                                             });
    return m_subscription != nullptr;
}

void CameraConnection::NextPicture() {
    m_picture = m_queue->Pop();
    if (!m_picture) {
        return;
    }
    m_before = PartHead(m_picture->data.size());
    m_behind = kBehindPicture;
    Write();
}

void CameraConnection::Write() {
    m_writing = true;
    SetDeadline(m_timing.stall);
    const std::array<std::string_view, 3> parts = {
        m_before,
        m_picture
            ? std::string_view(reinterpret_cast<const char*>(m_picture->data.data()), m_picture->data.size())
            : std::string_view(),
        m_behind};
    std::array<asio::const_buffer, 3> buffers;
    std::size_t skip = m_done;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const std::size_t gone = std::min(skip, parts[i].size());
        buffers[i] = asio::buffer(parts[i].substr(gone));
        skip -= gone;
    }
    m_socket.async_write_some(buffers,
                              [self = shared_from_this()](const std::error_code& error, std::size_t count) {
                                  if (self->m_closed) {
                                      return;
                                  }
                                  error ? self->DoClose() : self->OnWritten(count);
                              });
}

void CameraConnection::OnWritten(std::size_t count) {
    m_done += count;
    if (m_done < m_before.size() + (m_picture ? m_picture->data.size() : 0) + m_behind.size()) {
        Write();
        return;
    }
    m_before.clear();
    m_picture.reset();
    m_behind = {};
    m_done = 0;
    if (m_stage == Stage::Refused) {
        // The peer closes, or the deadline does.
        SetDeadline(m_timing.linger);
        std::error_code ignored;
        m_socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        return;
    }
    m_writing = false;
    m_deadline.cancel();
    NextPicture();
}

void CameraConnection::SetDeadline(std::chrono::milliseconds time) {
    m_deadline.expires_after(time);
    m_deadline.async_wait([self = shared_from_this()](const std::error_code& error) {
        if (!error) {
            self->DoClose();
        }
    });
}

void CameraConnection::DoClose() {
    if (m_closed) {
        return;
    }
    m_closed = true;
    m_subscription.reset();
    m_deadline.cancel();
    m_delay.cancel();
    std::error_code ignored;
    m_socket.close(ignored);
    m_gone(shared_from_this());
}

}  // namespace kvrecorder
