#include "connections/camera_connection.h"

#include <algorithm>
#include <asio/post.hpp>

#include "answers/handlers.h"
#include "state/text.h"

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
    : socket_(std::move(socket)),
      model_(model),
      timing_(timing),
      gone_(std::move(gone)),
      deadline_(socket_.get_executor()) {}

void CameraConnection::Start() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] {
        std::error_code ignored;
        self->socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
        self->socket_.set_option(asio::socket_base::send_buffer_size(kSendBuffer), ignored);
        self->SetDeadline(self->timing_.head);
        self->Read();
    });
}

void CameraConnection::Close() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] { self->DoClose(); });
}

void CameraConnection::Changed() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] {
        if (!self->streaming_ || self->closed_) {
            return;
        }
        const SnapshotPtr state = self->model_.Current();
        const int channel = self->channel_;
        if (self->Judge(*state) != kStatusOk || self->channel_ != channel) {
            self->DoClose();
            return;
        }
        const Channel& now = state->channels[static_cast<std::size_t>(channel)];
        if (now.sourceNumber != self->sourceNumber_) {
            self->subscription_.reset();
            self->queue_->Restart();
            if (!self->Subscribe(*state)) {
                self->DoClose();
            }
        }
    });
}

void CameraConnection::Read() {
    socket_.async_read_some(asio::buffer(input_),
                            [self = shared_from_this()](const std::error_code& error, std::size_t count) {
                                if (self->closed_) {
                                    return;
                                }
                                if (error) {
                                    self->DoClose();
                                    return;
                                }
                                const bool inHead = !self->streaming_ && !self->writing_;
                                if (inHead) {
                                    switch (self->head_.Feed({self->input_.data(), count})) {
                                        case RequestHead::State::Incomplete:
                                            break;
                                        case RequestHead::State::Complete:
                                            self->OnHead();
                                            break;
                                        case RequestHead::State::Bad:
                                            self->Refuse(400);
                                            break;
                                    }
                                }
                                if (!self->closed_) {
                                    self->Read();  // what comes behind the head is dropped
                                }
                            });
}

void CameraConnection::OnHead() {
    const auto request = head_.Parse();
    if (!request) {
        Refuse(400);
        return;
    }
    request_ = *request;
    const SnapshotPtr state = model_.Current();
    const int status = Judge(*state);
    if (status != kStatusOk) {
        Refuse(status);
        return;
    }
    if (!Subscribe(*state)) {
        Refuse(404);
        return;
    }
    streaming_ = true;
    before_ = StreamHead();
    Write();
}

int CameraConnection::Judge(const Snapshot& state) {
    for (std::size_t i = 0; i < state.channels.size(); ++i) {
        const int number = static_cast<int>(i);
        const Channel* const channel = state.Configured(number);
        if (!channel || !channel->config.camera.direct ||
            CameraPath(channel->config, number) != request_.path) {
            continue;
        }
        const CameraConfig& camera = channel->config.camera;
        const bool sameName = ConstantTimeEqual(request_.user, camera.user);
        const bool samePassword = ConstantTimeEqual(request_.password, camera.password);
        if (!camera.user.empty() && !(request_.hasAuthorization && sameName && samePassword)) {
            return 401;
        }
        channel_ = number;
        return kStatusOk;
    }
    return 404;
}

void CameraConnection::Refuse(int status) {
    Reply reply = kvrecorder::Refuse(status);
    before_ = MakeReplyHead(reply) + reply.body;
    Write();
}

bool CameraConnection::Subscribe(const Snapshot& state) {
    const Channel& channel = state.channels[static_cast<std::size_t>(channel_)];
    const auto stream = JpegStream(channel);
    if (!stream) {
        return false;
    }
    sourceNumber_ = channel.sourceNumber;
    subscription_ = model_.Hub().Subscribe(channel_, *stream,
                                           [queue = queue_, weak = weak_from_this(),
                                            executor = socket_.get_executor()](const PacketPtr& packet) {
                                               if (!queue->Push(packet)) {
                                                   return;
                                               }
                                               asio::post(executor, [weak] {
                                                   const auto self = weak.lock();
                                                   if (self && !self->closed_ && !self->writing_) {
                                                       self->NextPicture();
                                                   }
                                               });
                                           });
    return subscription_ != nullptr;
}

void CameraConnection::NextPicture() {
    picture_ = queue_->Pop();
    if (!picture_) {
        return;
    }
    before_ = PartHead(picture_->data.size());
    behind_ = kBehindPicture;
    Write();
}

void CameraConnection::Write() {
    writing_ = true;
    SetDeadline(timing_.stall);
    const std::array<std::string_view, 3> parts = {
        before_,
        picture_
            ? std::string_view(reinterpret_cast<const char*>(picture_->data.data()), picture_->data.size())
            : std::string_view(),
        behind_};
    std::array<asio::const_buffer, 3> buffers;
    std::size_t skip = done_;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const std::size_t gone = std::min(skip, parts[i].size());
        buffers[i] = asio::buffer(parts[i].substr(gone));
        skip -= gone;
    }
    socket_.async_write_some(buffers,
                             [self = shared_from_this()](const std::error_code& error, std::size_t count) {
                                 if (self->closed_) {
                                     return;
                                 }
                                 error ? self->DoClose() : self->OnWritten(count);
                             });
}

void CameraConnection::OnWritten(std::size_t count) {
    done_ += count;
    if (done_ < before_.size() + (picture_ ? picture_->data.size() : 0) + behind_.size()) {
        Write();
        return;
    }
    before_.clear();
    picture_.reset();
    behind_ = {};
    done_ = 0;
    if (!streaming_) {
        // A refusal: the peer closes, or the deadline does.
        std::error_code ignored;
        socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        return;
    }
    writing_ = false;
    deadline_.cancel();
    NextPicture();
}

void CameraConnection::SetDeadline(std::chrono::milliseconds time) {
    deadline_.expires_after(time);
    deadline_.async_wait([self = shared_from_this()](const std::error_code& error) {
        if (!error) {
            self->DoClose();
        }
    });
}

void CameraConnection::DoClose() {
    if (closed_) {
        return;
    }
    closed_ = true;
    subscription_.reset();
    deadline_.cancel();
    std::error_code ignored;
    socket_.close(ignored);
    gone_(shared_from_this());
}

}  // namespace kvrecorder
