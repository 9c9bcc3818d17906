// One client's connection, from the head of its request to its end: its socket, its deadline, and the change
// from one role to the next.
#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "answers/handlers.h"
#include "api/recorder_api.h"
#include "connections/connection_set.h"
#include "connections/login.h"
#include "connections/role.h"
#include "connections/talk_book.h"
#include "media/sound_hub.h"
#include "state/record_queue.h"
#include "state/recorder_model.h"

namespace kvrecorder {

struct Timing {
    std::chrono::milliseconds head{10'000};   // to complete a request head
    std::chrono::milliseconds stall{30'000};  // without a byte that the peer takes
    std::chrono::milliseconds linger{2'000};  // for the peer to close after a document
    std::chrono::milliseconds talk{10'000};   // for a client that speaks to say something
    std::chrono::milliseconds notify{500};    // between two lines of one notification connection
};

// Outlives all connections.
struct ConnectionHost {
    RecorderModel& model;
    ConnectionSet& set;
    SoundHub& sounds;
    TalkBook& talks;
    RecorderApi* api;  // null: nothing can be changed here
    Timing timing;
};

// The socket's executor must be a strand: all work of a connection happens on it. The public operations may
// be called from any thread and return at once.
class Connection : public std::enable_shared_from_this<Connection>, private Link {
public:
    Connection(asio::ip::tcp::socket socket, ConnectionHost host);
    ~Connection() override;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void Start();
    // Tells of a change: pushes it on a notification connection, ends a stream whose user lost it.
    void Changed(Change change);
    // Ends in order; a notification connection says "3" first.
    void Shutdown();
    void Close();
    // Only when no thread runs the connection any more.
    void Abandon();

    // Nothing is lost with it: its request is not whole yet, or it is refused or served already.
    bool GivesWay() const { return m_standing == Standing::Head || m_standing == Standing::Passing; }
    bool Streaming() const { return m_standing == Standing::Stream; }
    TimePoint Began() const { return m_began; }
    std::uint64_t Dropped() const { return m_queue->Dropped(); }
    std::size_t Queued() const { return m_queue->Bytes(); }

private:
    // How other threads, which may outlive the loop, reach it: nowhere once the connection has gone.
    struct WayBack {
        std::mutex mutex;
        std::optional<asio::any_io_executor> executor;

        template <typename Work>
        void Post(Work work) {
            const std::lock_guard lock(mutex);
            if (executor) {
                asio::post(*executor, std::move(work));
            }
        }
    };
    // What other threads ask for.
    enum class Standing { Head, Passing, Stream, Other, Closed };

    void Send(std::string_view text, PacketPtr packet) override;
    bool Sending() const override { return m_writing; }
    std::size_t SendNow(std::string_view text, const Packet& packet) override;
    void SendRest(std::string_view text, PacketPtr packet, std::size_t sent) override;
    void SetDeadline(TimePoint at) override;
    void SetTimer(TimePoint at) override;
    std::string PeerAddress() const override;
    void SetSendBuffer(int bytes) override;
    void SetReceiveBuffer(int bytes) override;
    void EndWith(std::string text) override;
    void Linger() override;
    void End() override;
    std::function<void()> Waker() override;
    std::function<void()> Ender() override;

    void OnAnswer(Reply reply, Login login, std::chrono::milliseconds delay);
    void Serve(const Reply& reply, const Login& login);
    Link& AsLink() { return *this; }
    void Become(std::shared_ptr<Role> role, Standing standing = Standing::Other);
    // Runs on the strand, with the present role. A role that gives way in it lives on to its end.
    template <typename Work>
    void Safely(Work work);
    template <typename Call>
    void Tell(Call call);

    void Read();
    void OnRead(const std::error_code& error, std::size_t count);
    void Write();
    void OnWritten(const std::error_code& error, std::size_t count);
    void ArmDeadline();

    asio::ip::tcp::socket m_socket;
    const std::shared_ptr<WayBack> m_wayBack = std::make_shared<WayBack>();
    const ConnectionHost m_host;
    const TimePoint m_began = std::chrono::steady_clock::now();
    const std::shared_ptr<RecordQueue> m_queue = std::make_shared<RecordQueue>();
    std::atomic<Standing> m_standing{Standing::Head};
    std::shared_ptr<Role> m_role;  // never null
    bool m_refused = false;
    Change m_changed = Change::None;
    std::array<char, 2048> m_input;
    bool m_peerDone = false;  // it has closed its side

    // What is being written: text, then a picture.
    std::string m_outText;
    PacketPtr m_outPacket;
    std::size_t m_outDone = 0;
    bool m_writing = false;

    asio::steady_timer m_deadlineTimer;
    TimePoint m_deadline = TimePoint::max();
    TimePoint m_armed = TimePoint::max();
    asio::steady_timer m_timer;
};

}  // namespace kvrecorder
