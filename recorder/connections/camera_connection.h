// One client's connection to the camera port: a channel's pictures as one endless multipart reply.
#pragma once

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "answers/reply.h"
#include "connections/camera_request.h"
#include "state/record_queue.h"
#include "state/recorder_model.h"

namespace kvrecorder {

// The socket's executor must be a strand: all work of a connection happens on it. The public operations may
// be called from any thread and return at once.
class CameraConnection : public std::enable_shared_from_this<CameraConnection> {
public:
    struct Timing {
        std::chrono::milliseconds head;           // to complete a request head
        std::chrono::milliseconds stall;          // without a byte that the peer takes
        std::chrono::milliseconds linger{2'000};  // for the peer to close after a refusal
    };
    using Gone = std::function<void(const std::shared_ptr<CameraConnection>&)>;

    CameraConnection(asio::ip::tcp::socket socket, RecorderModel& model, const Timing& timing, Gone gone);

    void Start();
    // Follows another source, and ends when the channel's camera has gone or asks for another login.
    void Changed();
    void Close();
    // Only when no thread runs the connection any more.
    void Abandon() { m_subscription.reset(); }

    // Its request is not whole yet, or refused.
    bool GivesWay() const { return m_stage != Stage::Streaming; }
    std::chrono::steady_clock::time_point Began() const { return m_began; }

private:
    enum class Stage { Head, Refused, Streaming };

    template <typename Work>
    void Safely(Work work);
    void OnChanged();
    void OnRead(std::size_t count);
    void Read();
    void OnHead();
    void Refuse(const Reply& reply);
    bool Subscribe(const Snapshot& state);
    void NextPicture();
    void Write();
    void OnWritten(std::size_t count);
    void SetDeadline(std::chrono::milliseconds time);
    void DoClose();

    asio::ip::tcp::socket m_socket;
    RecorderModel& m_model;
    const Timing m_timing;
    const Gone m_gone;
    const std::chrono::steady_clock::time_point m_began = std::chrono::steady_clock::now();
    std::atomic<Stage> m_stage{Stage::Head};
    asio::steady_timer m_deadline;
    asio::steady_timer m_delay;
    std::array<char, 2048> m_input;
    CameraRequest m_request;
    int m_sourceNumber = 0;
    std::shared_ptr<RecordQueue> m_queue = std::make_shared<RecordQueue>();
    std::unique_ptr<Subscription> m_subscription;

    // What is being written: text, a picture, text.
    std::string m_before;
    PacketPtr m_picture;
    std::string_view m_behind;
    std::size_t m_done = 0;
    bool m_writing = false;
    bool m_closed = false;
};

}  // namespace kvrecorder
