// What a camera offers beside its pictures, and what is said to it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "cameras/camera_offer.h"
#include "cameras/camera_timing.h"
#include "cameras/stream_finder.h"
#include "media/stream_config.h"

namespace kvrecorder {

// Any thread; nothing here waits for the camera.
class CameraTalk {
public:
    virtual ~CameraTalk() = default;
    // Begins to ask what it offers, if that was not begun yet.
    virtual void Start() = 0;
    // Says something to it, 8000 samples a second: a session is opened, and closed soon after the last word.
    // False once after the camera could not be talked to, so that whoever talks learns it.
    virtual bool Say(std::span<const std::int16_t> samples) = 0;
    // The camera was gone, or seen for the first time: asks anew.
    virtual void AskAgain() = 0;
};

// What a camera's talk tells, on a thread that waits for the camera, and never after its end but for a call
// that is under way.
struct TalkListener {
    std::function<void(const CameraOffer&)> offers;
    std::function<void(const std::string& words)> fails;  // why nobody can talk to it now
};

struct TalkTiming {
    CameraTiming camera;
    std::chrono::milliseconds open{5'000};   // until a session is open
    std::chrono::milliseconds stall{3'000};  // without a packet taken
    std::chrono::milliseconds rest{3'000};   // silence after which it is closed
};

// Null for a camera that is not asked by RTSP.
using CameraTalkMaker =
    std::function<std::shared_ptr<CameraTalk>(const NetworkCamera& camera, TalkListener listener)>;

// A camera is asked what it offers until it answers. At the maker's end its threads are waited for a little.
CameraTalkMaker CreateCameraTalkMaker(const TalkTiming& timing = {}, StreamFinder finder = nullptr);

}  // namespace kvrecorder
