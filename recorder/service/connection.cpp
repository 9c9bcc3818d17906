#include "service/connection.h"

#include <asio/post.hpp>
#include <asio/write.hpp>

#include <algorithm>
#include <iostream>

namespace kvrecorder {
namespace {

// Bounds what the system holds for one slow watcher, and how old its pictures are when they arrive.
constexpr int kStreamSendBuffer = 256 * 1024;
// No client waits so long for a first byte.
constexpr std::chrono::minutes kLongestSilence{10};

}  // namespace

void ConnectionSet::Add(std::shared_ptr<Connection> connection) {
    const std::lock_guard lock(mutex_);
    connections_.insert(std::move(connection));
}

void ConnectionSet::Remove(const std::shared_ptr<Connection>& connection) {
    const std::lock_guard lock(mutex_);
    connections_.erase(connection);
    changed_.notify_all();
}

std::size_t ConnectionSet::Size() const {
    const std::lock_guard lock(mutex_);
    return connections_.size();
}

std::vector<std::shared_ptr<Connection>> ConnectionSet::All() const {
    const std::lock_guard lock(mutex_);
    return {connections_.begin(), connections_.end()};
}

bool ConnectionSet::WaitEmpty(std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return connections_.empty(); });
}

Connection::Connection(asio::ip::tcp::socket socket, ConnectionHost host)
    : socket_(std::move(socket)),
      host_(host),
      deadlineTimer_(socket_.get_executor()),
      pause_(socket_.get_executor()) {}

void Connection::Start() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] {
        std::error_code ignored;
        self->socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
        self->SetDeadline(self->began_ + self->host_.timing.head);
        self->Read();
    });
}

void Connection::Changed(Change change) {
    asio::post(socket_.get_executor(), [self = shared_from_this(), change] {
        const bool lasting = self->mode_ == Mode::Stream || self->mode_ == Mode::Talk;
        if (lasting && change == Change::Configuration) {
            self->CheckRight();
            self->FollowSource();
        }
        // A change of the configuration makes clients read the state too.
        self->pending_ = std::max(self->pending_, change);
        if (self->mode_ == Mode::Notify && !self->writing_) {
            self->NextLine();
        }
    });
}

void Connection::Shutdown() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] {
        if (self->mode_ != Mode::Notify) {
            self->DoClose();
            return;
        }
        self->shutdown_ = true;
        if (!self->writing_) {
            self->NextLine();
        }
    });
}

void Connection::Abandon() {
    subscription_.reset();
    sound_.reset();
    talk_.reset();
}

void Connection::Close() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] { self->DoClose(); });
}

void Connection::Read() {
    socket_.async_read_some(asio::buffer(input_),
                            [self = shared_from_this()](const std::error_code& error, std::size_t count) {
                                self->OnRead(error, count);
                            });
}

void Connection::OnRead(const std::error_code& error, std::size_t count) {
    if (mode_ == Mode::Closed) {
        return;
    }
    if (error) {
        // A document goes out whole even to a peer that has closed its own side.
        peerDone_ = true;
        if (mode_ != Mode::Document && mode_ != Mode::Delay) {
            DoClose();
        }
        return;
    }
    if (mode_ == Mode::Talk) {
        Hear({input_.data(), count});
        return;
    }
    if (mode_ != Mode::Head) {
        Read();  // keep-alive bytes of notification connections, and whatever else: dropped
        return;
    }
    switch (head_.Feed({input_.data(), count})) {
        case RequestHead::State::Incomplete:
            break;
        case RequestHead::State::Complete:
            OnHead();
            break;
        case RequestHead::State::Bad:
            Serve(Refuse(400));
            break;
    }
    if (mode_ == Mode::Talk) {
        Hear(head_.Behind());
    } else if (mode_ != Mode::Closed) {
        Read();
    }
}

void Connection::OnHead() {
    const SnapshotPtr state = host_.model.Current();
    const auto request = head_.Parse();
    if (!request) {
        Serve(Refuse(400));
        return;
    }
    user_ = request->user;
    password_ = request->password;
    std::error_code ignored;
    const auto peer = socket_.remote_endpoint(ignored).address().to_string();
    Reply reply = Answer(*request, *state, host_.model, peer);
    const int delayMs = state->server.delayMs + reply.delayMs;
    if (delayMs == 0) {
        Serve(std::move(reply));
        return;
    }
    mode_ = Mode::Delay;
    SetDeadline(TimePoint::max());
    pause_.expires_after(std::chrono::milliseconds(delayMs));
    pause_.async_wait([self = shared_from_this(), reply = std::move(reply)](const std::error_code& error) {
        if (!error && self->mode_ == Mode::Delay) {
            self->Serve(reply);
        }
    });
}

void Connection::Serve(Reply reply) {
    switch (reply.kind) {
        case ReplyKind::Document:
            mode_ = Mode::Document;
            break;
        case ReplyKind::Stream:
            mode_ = Mode::Stream;
            break;
        case ReplyKind::Notify:
            mode_ = Mode::Notify;
            who_ = reply.who;
            host_.model.Users().OpenLine(who_);
            break;
        case ReplyKind::Talk:
            reply_ = reply;
            if (!BeginTalk(reply.channel)) {
                reply = Refuse(503);
            }
            mode_ = talk_ ? Mode::Talk : Mode::Document;
            break;
        case ReplyKind::Silence:
            mode_ = Mode::Silence;
            SetDeadline(std::chrono::steady_clock::now() + kLongestSilence);
            return;
    }
    if (mode_ == Mode::Stream) {
        reply_ = reply;
        std::error_code ignored;
        socket_.set_option(asio::socket_base::send_buffer_size(kStreamSendBuffer), ignored);
        const SnapshotPtr state = host_.model.Current();
        if (const Channel* channel = state->Configured(reply.channel)) {
            Subscribe(*channel);
        }
        if (!subscription_) {
            reply = Refuse(404);
            mode_ = Mode::Document;
        } else {
            SubscribeSound();
        }
    }
    outText_ = MakeReplyHead(reply) + reply.body;
    Write();
    if (mode_ == Mode::Stream) {
        CheckRight();  // the state may have changed since the request was judged
    }
}

void Connection::Subscribe(const Channel& channel) {
    sourceNumber_ = channel.sourceNumber;
    subscription_ = host_.model.Hub().Subscribe(reply_.channel, reply_.stream, MakeSink());
}

// For those who may hear it. A channel whose sound cannot be made is a silent one.
void Connection::SubscribeSound() {
    const SnapshotPtr state = host_.model.Current();
    const Channel* channel = state->Configured(reply_.channel);
    const User* user = state->Authorize(user_, password_);
    std::optional<SoundConfig> wanted;
    if (channel && channel->config.audio && user && user->Has(Right::Audio, reply_.channel)) {
        wanted = channel->config.sound;
    }
    if (wanted == heard_) {
        return;
    }
    sound_.reset();
    heard_ = wanted;
    try {
        sound_ = wanted ? host_.sounds.Subscribe(reply_.channel, *wanted, MakeSink()) : nullptr;
    } catch (const std::runtime_error& failure) {
        std::cerr << "kvrecorder: channel " << reply_.channel << " is silent: " << failure.what()
                  << std::endl;
    }
}

std::function<void(const PacketPtr&)> Connection::MakeSink() {
    return [queue = queue_, weak = weak_from_this(),
            executor = socket_.get_executor()](const PacketPtr& packet) {
        if (!queue->Push(packet)) {
            return;
        }
        asio::post(executor, [weak] {
            const auto self = weak.lock();
            if (self && self->mode_ == Mode::Stream && !self->writing_) {
                self->NextRecord();
            }
        });
    };
}

bool Connection::BeginTalk(int channel) {
    const SnapshotPtr state = host_.model.Current();
    talkStalls_ = state->server.talkStalls;
    if (talkStalls_) {
        // So that the client notices early.
        std::error_code ignored;
        socket_.set_option(asio::socket_base::receive_buffer_size(4096), ignored);
    }
    try {
        talk_ = host_.talks.Begin(channel, user_, state->server.talkFolder, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->Close();
            }
        });
    } catch (const std::exception&) {
        talk_.reset();
    }
    return talk_ != nullptr;
}

// Reads on unless the configuration wants a recorder that does not.
void Connection::Hear(std::string_view bytes) {
    talk_->Hear(bytes);
    if (talkStalls_) {
        return;
    }
    SetDeadline(std::chrono::steady_clock::now() + host_.timing.talk);
    Read();
}

// A channel's new source goes on in the same connection.
void Connection::FollowSource() {
    const SnapshotPtr state = host_.model.Current();
    const Channel* channel = state->Configured(reply_.channel);
    if (mode_ != Mode::Stream || !channel || channel->sourceNumber == sourceNumber_) {
        return;
    }
    subscription_.reset();
    queue_->Restart();
    Subscribe(*channel);
    if (!subscription_) {
        DoClose();
    }
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
    if (mode_ == Mode::Closed) {
        return;
    }
    if (error) {
        DoClose();
        return;
    }
    outDone_ += count;
    if (outDone_ < outText_.size() + (outPacket_ ? outPacket_->data.size() : 0)) {
        Write();
        return;
    }
    outText_.clear();
    outPacket_.reset();
    outDone_ = 0;
    writing_ = false;
    SetDeadline(TimePoint::max());
    Next();
}

void Connection::Next() {
    switch (mode_) {
        case Mode::Document:
            BeginLinger();
            break;
        case Mode::Stream:
            NextRecord();
            break;
        case Mode::Notify:
            NextLine();
            break;
        case Mode::Talk:
            SetDeadline(std::chrono::steady_clock::now() + host_.timing.talk);
            break;
        case Mode::Head:
        case Mode::Delay:
        case Mode::Silence:
        case Mode::Linger:
        case Mode::Closed:
            break;
    }
}

void Connection::NextRecord() {
    outPacket_ = queue_->Pop();
    if (!outPacket_) {
        return;
    }
    const auto head = MakeRecordHead(*outPacket_, recordNumber_++);
    outText_.assign(head.begin(), head.end());
    if (outPacket_->IsSound()) {
        const auto block = MakeSoundBlock(*outPacket_);
        outText_.append(block.begin(), block.end());
    }
    Write();
}

void Connection::NextLine() {
    if (shutdown_) {
        mode_ = Mode::Document;
        outText_ = "3\n";
        Write();
        return;
    }
    if (pending_ == Change::None) {
        return;
    }
    const TimePoint now = std::chrono::steady_clock::now();
    if (now < nextLine_) {
        // A burst of changes becomes one line: clients read everything anew for each.
        pause_.expires_at(nextLine_);
        pause_.async_wait([self = shared_from_this()](const std::error_code& error) {
            if (!error && self->mode_ == Mode::Notify && !self->writing_) {
                self->NextLine();
            }
        });
        return;
    }
    outText_ = pending_ == Change::Configuration ? "2\n" : "1\n";
    pending_ = Change::None;
    nextLine_ = now + host_.timing.notify;
    Write();
}

// Closing at once could make the system throw away what the peer has not read yet.
void Connection::BeginLinger() {
    if (peerDone_) {
        DoClose();
        return;
    }
    mode_ = Mode::Linger;
    std::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    SetDeadline(std::chrono::steady_clock::now() + host_.timing.linger);
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
        if (error || self->mode_ == Mode::Closed) {
            return;
        }
        self->armed_ = TimePoint::max();
        if (self->deadline_ <= std::chrono::steady_clock::now()) {
            self->DoClose();
        } else if (self->deadline_ != TimePoint::max()) {
            self->ArmDeadline();
        }
    });
}

void Connection::CheckRight() {
    const SnapshotPtr state = host_.model.Current();
    const User* user = state->Authorize(user_, password_);
    const Right right = mode_ == Mode::Talk ? Right::Talk : Right::Monitor;
    if (!user || !user->Has(right, reply_.channel) || !state->Configured(reply_.channel)) {
        DoClose();
    } else if (mode_ == Mode::Stream) {
        SubscribeSound();
    }
}

void Connection::DoClose() {
    if (mode_ == Mode::Closed) {
        return;
    }
    mode_ = Mode::Closed;
    if (!who_.empty()) {
        host_.model.Users().CloseLine(who_);
    }
    // Waits for a picture that is on its way to the queue, and never for this connection.
    subscription_.reset();
    sound_.reset();
    talk_.reset();
    deadlineTimer_.cancel();
    pause_.cancel();
    std::error_code ignored;
    socket_.close(ignored);
    host_.set.Remove(shared_from_this());
}

}  // namespace kvrecorder
