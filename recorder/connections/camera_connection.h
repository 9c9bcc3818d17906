// One client's connection to the camera port: a channel's pictures as one endless multipart reply.
#pragma once

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "answers/http_request.h"
#include "state/record_queue.h"
#include "state/recorder_model.h"

namespace kvrecorder {

// The socket's executor must be a strand: all work of a connection happens on it. The public operations may
// be called from any thread and return at once.
class CameraConnection : public std::enable_shared_from_this<CameraConnection> {
public:
    struct Timing {
        std::chrono::milliseconds head;   // to complete a request head
        std::chrono::milliseconds stall;  // without a byte that the peer takes
    };
    using Gone = std::function<void(const std::shared_ptr<CameraConnection>&)>;

    CameraConnection(asio::ip::tcp::socket socket, RecorderModel& model, const Timing& timing, Gone gone);

    void Start();
    // Follows another source, and ends when the channel's camera has gone or asks for another login.
    void Changed();
    void Close();
    // Once no thread runs the connection any more.
    void Abandon() { subscription_.reset(); }

private:
    void Read();
    void OnHead();
    // The status of the reply to the present request; 200 with the channel found.
    int Judge(const Snapshot& state);
    void Refuse(int status);
    bool Subscribe(const Snapshot& state);
    void NextPicture();
    void Write();
    void OnWritten(std::size_t count);
    void SetDeadline(std::chrono::milliseconds time);
    void DoClose();

    asio::ip::tcp::socket socket_;
    RecorderModel& model_;
    const Timing timing_;
    const Gone gone_;
    asio::steady_timer deadline_;
    std::array<char, 2048> input_;
    RequestHead head_;
    HttpRequest request_;
    int channel_ = -1;
    int sourceNumber_ = 0;
    std::shared_ptr<RecordQueue> queue_ = std::make_shared<RecordQueue>();
    std::unique_ptr<Subscription> subscription_;

    // What is being written: text, a picture, text.
    std::string before_;
    PacketPtr picture_;
    std::string_view behind_;
    std::size_t done_ = 0;
    bool writing_ = false;
    bool streaming_ = false;
    bool closed_ = false;
};

}  // namespace kvrecorder
