// One client's connection, from the head of its request to its end.
#pragma once

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>

#include "media/sound_hub.h"
#include "service/handlers.h"
#include "service/record_queue.h"
#include "service/recorder_model.h"
#include "service/talk_book.h"

namespace kvrecorder {

class Connection;

struct Timing {
    std::chrono::milliseconds head{10'000};   // to complete a request head
    std::chrono::milliseconds stall{30'000};  // without a byte that the peer takes
    std::chrono::milliseconds linger{2'000};  // for the peer to close after a document
    std::chrono::milliseconds talk{10'000};   // for a client that speaks to say something
    std::chrono::milliseconds notify{500};    // between two lines of one notification connection
};

// The connections that are open; may be used from any thread.
class ConnectionSet {
public:
    void Add(std::shared_ptr<Connection> connection);
    void Remove(const std::shared_ptr<Connection>& connection);
    std::size_t Size() const;
    std::vector<std::shared_ptr<Connection>> All() const;
    // Waits until none is left; false at the time's end.
    bool WaitEmpty(std::chrono::milliseconds timeout) const;

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::unordered_set<std::shared_ptr<Connection>> connections_;
};

// Outlives all connections.
struct ConnectionHost {
    RecorderModel& model;
    ConnectionSet& set;
    SoundHub& sounds;
    TalkBook& talks;
    Timing timing;
};

// The socket's executor must be a strand: all work of a connection happens on it. The public operations may
// be called from any thread and return at once.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(asio::ip::tcp::socket socket, ConnectionHost host);

    void Start();
    // Tells of a change: pushes it on a notification connection, ends a stream whose user lost it.
    void Changed(Change change);
    // Ends in order: "3" on a notification connection.
    void Shutdown();
    void Close();
    // Once no thread runs the connection any more.
    void Abandon();

    bool InHead() const { return mode_ == Mode::Head; }
    bool Streaming() const { return mode_ == Mode::Stream; }
    std::chrono::steady_clock::time_point Began() const { return began_; }
    std::uint64_t Dropped() const { return queue_->Dropped(); }
    std::size_t Queued() const { return queue_->Bytes(); }

private:
    enum class Mode { Head, Delay, Document, Stream, Notify, Silence, Talk, Linger, Closed };
    using TimePoint = std::chrono::steady_clock::time_point;

    void Read();
    void OnRead(const std::error_code& error, std::size_t count);
    void OnHead();
    void Serve(Reply reply);
    void Begin(const Reply& reply);
    void Subscribe(const Channel& channel);
    void FollowSource();

    void SubscribeSound();
    std::function<void(const PacketPtr&)> MakeSink();
    bool BeginTalk(int channel);
    void Hear(std::string_view bytes);

    void Write();
    void OnWritten(const std::error_code& error, std::size_t count);
    void Next();
    void NextRecord();
    void NextLine();
    void BeginLinger();

    void SetDeadline(TimePoint at);
    void ArmDeadline();
    void CheckRight();
    void DoClose();

    asio::ip::tcp::socket socket_;
    const ConnectionHost host_;
    const TimePoint began_ = std::chrono::steady_clock::now();
    std::atomic<Mode> mode_{Mode::Head};

    RequestHead head_;
    std::array<char, 2048> input_;
    std::string user_;
    std::string password_;
    Reply reply_;
    std::string who_;  // has this notification line

    std::shared_ptr<RecordQueue> queue_ = std::make_shared<RecordQueue>();
    std::unique_ptr<Subscription> subscription_;
    std::unique_ptr<Subscription> sound_;
    std::optional<SoundConfig> heard_;  // what sound_ is of
    std::unique_ptr<Talk> talk_;
    bool talkStalls_ = false;
    int sourceNumber_ = 0;
    std::uint32_t recordNumber_ = 0;

    // What is being written: text, then a picture.
    std::string outText_;
    PacketPtr outPacket_;
    std::size_t outDone_ = 0;
    bool writing_ = false;
    bool peerDone_ = false;  // it has closed its side

    Change pending_ = Change::None;
    bool shutdown_ = false;
    TimePoint nextLine_{};

    asio::steady_timer deadlineTimer_;
    TimePoint deadline_ = TimePoint::max();
    TimePoint armed_ = TimePoint::max();
    asio::steady_timer pause_;
};

}  // namespace kvrecorder
