// The whole recorder as one object: its listening socket, its connections and its control socket.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "api/recorder_api.h"
#include "state/recorder_model.h"

namespace kvrecorder {

class MediaClock;

struct ServiceOptions {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;        // 0: the system's choice
    std::string cameraAddress;     // empty: no camera port
    std::uint16_t cameraPort = 0;  // 0: the system's choice
    std::string searchAddress;     // where who looks for recorders is answered; empty: nowhere
    std::uint16_t searchPort = 0;  // 0: the system's choice
    std::string controlPath;       // empty: no control socket
    int threads = 2;
    std::chrono::milliseconds headTime{10'000};      // for a client to complete a request head
    std::chrono::milliseconds stallTime{30'000};     // without a byte that the peer takes
    std::chrono::milliseconds lingerTime{2'000};     // for the peer to close after a document
    std::chrono::milliseconds talkTime{10'000};      // for a client that speaks to say something
    std::shared_ptr<MediaClock> mediaClock;          // of the sound; null: the system's
    std::chrono::milliseconds notifyPause{500};      // between two lines to one client
    std::chrono::milliseconds refusalPause{60'000};  // between two sums of refused logins
    // Gets those sums, one line each, on a thread of the recorder's.
    std::function<void(const std::string& line)> onRefusals;
    std::optional<ApiSetup> api;   // nothing: there is no such interface
    std::function<void()> onStop;  // the control socket asked for the end; on any thread
};

struct ServiceCounters {
    std::size_t connections = 0;
    std::size_t streams = 0;
    std::size_t queuedBytes = 0;       // of pictures that wait for slow watchers
    std::uint64_t droppedRecords = 0;  // of the streams that are open
};

class RecorderService {
public:
    RecorderService(std::shared_ptr<RecorderModel> model, ServiceOptions options);
    // Stops, if Stop has not been called.
    ~RecorderService();
    RecorderService(const RecorderService&) = delete;
    RecorderService& operator=(const RecorderService&) = delete;

    // Throws ConfigError if the address or the control path cannot be used.
    void Start();
    // Where it listens, as "ADDRESS:PORT"; after Start.
    std::string Endpoint() const;
    std::uint16_t Port() const;
    // Of the camera port; "" without one.
    std::string CameraEndpoint() const;
    // Where questions of those who look for recorders are heard; 0 for nowhere.
    std::uint16_t SearchPort() const;
    // Why it cannot be found, though it was to be; "" otherwise. It serves all the same.
    std::string SearchProblem() const;
    ServiceCounters Counters() const;
    // Calls `answer` on a thread that serves clients, as soon as one has time for it.
    void Ask(std::function<void()> answer);
    // Tells notification clients, closes all connections and ends the threads; within about 3 seconds.
    void Stop();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace kvrecorder
