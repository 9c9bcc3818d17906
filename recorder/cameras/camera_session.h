// One stream of a camera, opened when it is wanted and shared by all who want it.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cameras/camera_threads.h"
#include "cameras/camera_timing.h"
#include "cameras/stream_finder.h"
#include "media/fault.h"
#include "media/packet.h"
#include "media/stream_config.h"

namespace kvrecorder {

// A thread of its own waits for the camera while the stream is wanted and for the linger time afterwards;
// after a failure it tries again. Nothing here waits for it. One thread at a time, but for End.
class CameraSession {
public:
    struct Setup {
        NetworkCamera camera;
        std::string url;
        CameraTiming timing;
        // There is something to take, which may be done in the call. Never empty.
        std::function<void()> wake;
        // Where the camera is to be asked for the address: asks it.
        std::function<FoundStream(const std::function<bool()>& ended)> find = nullptr;
    };

    CameraSession(Setup setup, std::shared_ptr<CameraThreads> threads);
    ~CameraSession();
    CameraSession(const CameraSession&) = delete;
    CameraSession& operator=(const CameraSession&) = delete;

    // The stream is wanted from now on. Sound is asked for when the session is opened.
    void Want(bool sound);
    // Nobody wants it any more.
    void Rest();
    // Any thread: no session any more. `wake` may still be called once.
    void End();

    struct Taken {
        std::vector<PacketPtr> pictures;  // that are new
        std::vector<PacketPtr> group;     // if asked for: all since the last key picture, the new ones too
        std::vector<PacketPtr> sounds;
        // When there is something to take at the latest though nothing wakes; nothing: not known.
        std::optional<std::chrono::microseconds> again;
        std::vector<std::string> words;  // for the log
        Fault trouble;                   // why no pictures come; empty: they do, or may yet
        bool missing = false;            // the camera has no such stream
        StreamDescription description;
        std::optional<StreamDescription> sub;  // what the camera told of its sub stream
    };
    Taken Take(bool withGroup);

private:
    class State;
    const std::shared_ptr<State> m_state;
    const std::shared_ptr<CameraThreads> m_threads;
};

}  // namespace kvrecorder
